#include "platform/dispatch/Pool.h"

#include "platform/Analytics.h"
#include "platform/dispatch/RunLogged.h"

#include <algorithm>
#include <system_error>
#include <thread>

namespace platform::dispatch::internal {

namespace {
thread_local bool tlWorker = false;
thread_local int tlBlockingDepth = 0;
}  // namespace

Pool& Pool::shared() {
    // Never destroyed: detached workers may still run while the process exits.
    static Pool* pool = new Pool;
    return *pool;
}

Pool::Pool() : _activeLimit(std::max<size_t>(2, std::thread::hardware_concurrency())) {}

bool Pool::onWorkerThread() { return tlWorker; }

size_t Pool::active() const {
    // Workers that run (or are about to run) jobs and are not blocked; idle
    // workers already told to wake count as running.
    return _workers - (_idle - _waking) - _blocked;
}

Pool::Growth Pool::planGrowth() {
    if (_jobs.empty() || active() >= _activeLimit) return Growth::none;
    if (_idle > _waking) {
        ++_waking;
        return Growth::wake;
    }
    if (_workers >= kHardCap) return Growth::none;
    ++_workers;
    return Growth::spawn;
}

void Pool::act(Growth g) {
    if (g == Growth::wake) {
        _workCv.notify_one();
    } else if (g == Growth::spawn) {
        try {
            std::thread([this] { workerMain(); }).detach();
        } catch (const std::system_error& e) {
            {
                MutexLock lock(_mutex);
                --_workers;
                changed();
            }
            platform::log(std::string("dispatch: cannot start a worker: ") + e.what());
        }
    }
}

void Pool::changed() {
    if (_statsWaiters > 0) _statsCv.notify_all();
}

void Pool::submit(std::function<void()> job) {
    Growth g;
    {
        MutexLock lock(_mutex);
        _jobs.push_back(std::move(job));
        g = planGrowth();
        changed();
    }
    act(g);
}

void Pool::beginBlocking() {
    Growth g;
    {
        MutexLock lock(_mutex);
        ++_blocked;
        g = planGrowth();
        changed();
    }
    act(g);
}

void Pool::endBlocking() {
    MutexLock lock(_mutex);
    --_blocked;
    changed();
}

void Pool::workerMain() {
    tlWorker = true;
    MutexLock lock(_mutex);
    for (;;) {
        // This worker counts in active(): it may run a job unless workers
        // that came back from blocking have pushed the count past the limit.
        if (!_jobs.empty() && active() <= _activeLimit) {
            std::function<void()> job = std::move(_jobs.front());
            _jobs.pop_front();
            // More work queued: wake or start one more before running ours.
            Growth g = planGrowth();
            changed();
            lock.unlock();
            act(g);
            runLogged("dispatch: a job", job);
            job = nullptr;  // the block's captures die outside the lock
            lock.lock();
            continue;
        }
        ++_idle;
        changed();
        const bool notified = lock.waitFor(_workCv, _idleTimeout);
        --_idle;
        if (_waking > 0) --_waking;
        if (!notified && _jobs.empty()) {
            --_workers;
            changed();
            return;
        }
    }
}

PoolStatsForTesting Pool::statsLocked() const {
    PoolStatsForTesting s;
    s.workers = _workers;
    s.idle = _idle;
    s.blocked = _blocked;
    s.queued = _jobs.size();
    s.activeLimit = _activeLimit;
    s.hardCap = kHardCap;
    return s;
}

PoolStatsForTesting Pool::stats() {
    MutexLock lock(_mutex);
    return statsLocked();
}

bool Pool::waitForStats(const std::function<bool(const PoolStatsForTesting&)>& predicate,
                        std::chrono::duration<double> timeout) {
    const auto deadline = std::chrono::steady_clock::now() + toClockDuration(timeout);
    MutexLock lock(_mutex);
    ++_statsWaiters;
    bool ok = predicate(statsLocked());
    while (!ok && std::chrono::steady_clock::now() < deadline) {
        lock.waitFor(_statsCv, deadline - std::chrono::steady_clock::now());
        ok = predicate(statsLocked());
    }
    --_statsWaiters;
    return ok;
}

void Pool::setIdleTimeout(std::chrono::duration<double> timeout) {
    {
        MutexLock lock(_mutex);
        _idleTimeout = timeout;
    }
    _workCv.notify_all();  // idle workers pick up the new timeout
}

}  // namespace platform::dispatch::internal

namespace platform::dispatch {

ScopedBlockingCall::ScopedBlockingCall() : _counted(internal::Pool::onWorkerThread() && internal::tlBlockingDepth++ == 0) {
    if (_counted) internal::Pool::shared().beginBlocking();
}

ScopedBlockingCall::~ScopedBlockingCall() {
    if (!internal::Pool::onWorkerThread()) return;
    --internal::tlBlockingDepth;
    if (_counted) internal::Pool::shared().endBlocking();
}

PoolStatsForTesting poolStatsForTesting() { return internal::Pool::shared().stats(); }

bool waitForPoolForTesting(const std::function<bool(const PoolStatsForTesting&)>& predicate,
                           std::chrono::duration<double> timeout) {
    return internal::Pool::shared().waitForStats(predicate, timeout);
}

void setIdleWorkerTimeoutForTesting(std::chrono::duration<double> timeout) {
    internal::Pool::shared().setIdleTimeout(timeout);
}

}  // namespace platform::dispatch
