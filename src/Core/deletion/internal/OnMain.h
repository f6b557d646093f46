#pragma once
// onMain: runs `work` on the main queue with the Deleter, if it still
// exists then; the hop every worker callback makes.

#include "platform/Dispatch.h"

#include <memory>
#include <utility>

namespace Core {

class Deleter;

template <class Work>
void onMain(std::weak_ptr<Deleter> deleter, Work work) {
    platform::dispatch::mainQueue()->async([deleter = std::move(deleter), work = std::move(work)]() mutable {
        if (auto strong = deleter.lock()) work(*strong);
    });
}

}  // namespace Core
