#include "platform/dispatch/QueueCore.h"
#include "platform/dispatch/Timers.h"

#include <array>
#include <cmath>
#include <stdexcept>

namespace platform::dispatch {

using internal::Item;
using internal::Kind;

const char* toString(QoS qos) {
    switch (qos) {
    case QoS::userInteractive: return "userInteractive";
    case QoS::userInitiated: return "userInitiated";
    case QoS::defaultQoS: return "default";
    case QoS::utility: return "utility";
    case QoS::background: return "background";
    case QoS::unspecified: return "unspecified";
    }
    return "unspecified";
}

Queue::Queue(std::shared_ptr<internal::QueueCore> core) : _core(std::move(core)) {}
Queue::~Queue() = default;

const std::string& Queue::label() const { return _core->label(); }
QoS Queue::qos() const { return _core->qos(); }
bool Queue::isSerial() const { return _core->kind() == Kind::serial || _core->kind() == Kind::main; }

void Queue::async(std::function<void()> block) {
    Item item;
    item.block = std::move(block);
    _core->async(std::move(item));
}

void Queue::async(const WorkItemPtr& workItem) {
    if (!workItem) throw std::invalid_argument("dispatch: async of a null work item");
    Item item;
    item.workItem = workItem;
    _core->async(std::move(item));
}

void Queue::async(Group& group, std::function<void()> block) {
    group.enter();
    Item item;
    item.block = std::move(block);
    item.group = group.stateForInternalUse();
    _core->async(std::move(item));
}

void Queue::sync(const std::function<void()>& block) { _core->sync(&block, nullptr, false); }

void Queue::sync(const WorkItemPtr& workItem) {
    if (!workItem) throw std::invalid_argument("dispatch: sync of a null work item");
    _core->sync(nullptr, workItem, false);
}

void Queue::asyncBarrier(std::function<void()> block) {
    Item item;
    item.block = std::move(block);
    item.barrier = true;
    _core->async(std::move(item));
}

void Queue::syncBarrier(const std::function<void()>& block) { _core->sync(&block, nullptr, true); }

namespace {

void asyncItemAfter(const std::shared_ptr<internal::QueueCore>& core, std::chrono::duration<double> delay,
                    Item item) {
    const Clock::Duration d = toClockDuration(delay);
    if (d == Clock::Duration::zero()) {
        core->async(std::move(item));
        return;
    }
    // A delay past the end of time never comes; nothing to schedule.
    if (d == Clock::Duration::max()) return;
    internal::Timers::shared().add(deadlineAfter(clock().now(), delay),
                                   [core, item = std::move(item)]() mutable { core->async(std::move(item)); });
}

}  // namespace

void Queue::asyncAfter(std::chrono::duration<double> delay, std::function<void()> block) {
    Item item;
    item.block = std::move(block);
    asyncItemAfter(_core, delay, std::move(item));
}

void Queue::asyncAfter(std::chrono::duration<double> delay, const WorkItemPtr& workItem) {
    if (!workItem) throw std::invalid_argument("dispatch: asyncAfter of a null work item");
    Item item;
    item.workItem = workItem;
    asyncItemAfter(_core, delay, std::move(item));
}

void Queue::setSpecificRaw(const void* key, std::shared_ptr<void> value) {
    _core->setSpecific(key, std::move(value));
}

std::shared_ptr<void> Queue::specificRaw(const void* key) const { return _core->specific(key); }

QueuePtr makeSerialQueue(std::string label, QoS qos) {
    return std::make_shared<Queue>(std::make_shared<internal::QueueCore>(std::move(label), qos, Kind::serial));
}

QueuePtr makeConcurrentQueue(std::string label, QoS qos) {
    return std::make_shared<Queue>(
        std::make_shared<internal::QueueCore>(std::move(label), qos, Kind::concurrent));
}

QueuePtr globalQueue(QoS qos) {
    if (qos == QoS::unspecified) qos = QoS::defaultQoS;
    // Never destroyed: blocks may be queued on them while the process exits.
    static const auto* queues = [] {
        auto* all = new std::array<QueuePtr, 5>;
        for (int i = 0; i < 5; ++i) {
            const QoS q = static_cast<QoS>(i);
            (*all)[i] = std::make_shared<Queue>(
                std::make_shared<internal::QueueCore>(std::string("global.") + toString(q), q, Kind::global));
        }
        return all;
    }();
    return (*queues)[static_cast<int>(qos)];
}

std::string currentQueueLabel() {
    internal::Frame* f = internal::currentFrame();
    return f ? f->queue->label() : std::string();
}

namespace internal {

std::shared_ptr<void> currentSpecific(const void* key) {
    Frame* f = currentFrame();
    return f ? f->queue->specific(key) : nullptr;
}

}  // namespace internal

}  // namespace platform::dispatch
