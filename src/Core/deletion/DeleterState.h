#pragma once
// DeleterState: where a delete run stands, ordered by raw value. No
// operation sets `paused`: a pause is held by the worker of the phase.

namespace Core {

enum class DeleterState : int { created = 0, paused = 1, started = 2, stopped = 3, completed = 4 };

}  // namespace Core
