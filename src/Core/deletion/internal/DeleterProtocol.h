#pragma once
// DeleterProtocol: the worker of one phase of a delete run.
//
// Threading: called on the main thread by Deleter.

namespace Core {

class DeleterProtocol {
public:
    virtual ~DeleterProtocol() = default;
    virtual void start() = 0;
    virtual void pause() = 0;
    virtual void stop() = 0;
};

}  // namespace Core
