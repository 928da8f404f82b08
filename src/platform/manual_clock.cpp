// manual_clock.cpp - hands one baton round. Whoever holds it runs; a wait passes it on.
#include "platform/manual_clock.h"

#include <algorithm>

#include "platform/event.h"

namespace platform {

constexpr uint64_t never = UINT64_MAX;

struct ManualClock_t::task_t {
    bool isHost = false;
    bool hasEnded = false;
    bool isWaiting = true;  // a thread that has not begun waits for its first turn
    bool isNew = false;
    Event_t* event = nullptr;   // what it waits for: an event,
    task_t* joined = nullptr;   // the end of a thread,
    uint64_t deadline = never;  // or time
    uint32_t result = waitFailed;
    std::condition_variable turn;
};

namespace {
thread_local ManualClock_t::task_t* ownTask = nullptr;  // null on the host thread
}

// The host is the last in the round: time-outs that fall together with the end of its own wait run first.
ManualClock_t::ManualClock_t(time_passed_t onTimePassed) : timePassed(onTimePassed) {
    auto* host = new task_t;
    host->isHost = true;
    host->isWaiting = false;
    tasks.push_back(host);
    running = host;
}

ManualClock_t::~ManualClock_t() {
    for (task_t* task : tasks) delete task;
}

ManualClock_t::task_t& ManualClock_t::Self() { return ownTask ? *ownTask : *tasks.back(); }

bool ManualClock_t::TakesTurns() {
    const lock_t lock(mutex);
    return ownTask || tasks.size() == 1 || hostThread == std::this_thread::get_id();
}

uint64_t ManualClock_t::ReadCounter() {
    const lock_t lock(mutex);
    if (!ownTask) ++hostReadings;
    return firstCount + now / unitsPerCount + hostReadings;
}

uint64_t ManualClock_t::Deadline(uint32_t timeoutMs) const {
    return timeoutMs == waitForever ? never : now + timeoutMs * unitsPerMs;
}

uint32_t ManualClock_t::WaitFor(Event_t& event, uint32_t timeoutMs) {
    lock_t lock(mutex);
    return Wait(lock, &event, nullptr, Deadline(timeoutMs));
}

void ManualClock_t::PassTime(uint64_t units) {
    lock_t lock(mutex);
    (void)Wait(lock, nullptr, nullptr, now + units);
}

bool ManualClock_t::JoinThread(task_t* task, uint32_t timeoutMs) {
    lock_t lock(mutex);
    if (Wait(lock, nullptr, task, Deadline(timeoutMs)) != waitSignalled) return false;
    Remove(task);
    return true;
}

uint32_t ManualClock_t::Wait(lock_t& lock, Event_t* event, task_t* joined, uint64_t deadline) {
    task_t& self = Self();
    self.event = event;
    self.joined = joined;
    self.deadline = deadline;
    self.isWaiting = true;
    if (!TryToEnd(self)) {
        PassOn();
        self.turn.wait(lock, [&] { return running == &self; });
    }
    return self.result;
}

// Ends the wait of a task whose reason to wait is gone, and gives it the baton.
bool ManualClock_t::TryToEnd(task_t& task) {
    if (!task.isWaiting || task.hasEnded) return false;
    if (task.isNew) {
        MakeRunning(task, waitSignalled);
        return true;
    }
    if (task.joined && task.joined->hasEnded) {
        MakeRunning(task, waitSignalled);
        return true;
    }
    if (!task.event) return false;
    const std::lock_guard lock(task.event->mutex);
    if (!task.event->isOpen) {
        MakeRunning(task, waitFailed);
    } else if (task.event->isSet) {
        task.event->isSet = false;
        MakeRunning(task, waitSignalled);
    }
    return running == &task && !task.isWaiting;
}

void ManualClock_t::MakeRunning(task_t& task, uint32_t waitResult) {
    task.isWaiting = false;
    task.isNew = false;
    task.result = waitResult;
    running = &task;
    task.turn.notify_one();
}

// Gives the baton to the first task that can run, or lets time pass until one can. A wait of the host that
// time cannot end fails rather than let time run on for ever; who need not wait for time runs before that.
void ManualClock_t::PassOn() {
    for (task_t* task : tasks) {
        if (TryToEnd(*task)) return;
    }
    task_t& host = *tasks.back();
    task_t* next = EarliestTimeout();
    if (host.isWaiting && host.deadline == never && (!next || next->deadline > now)) {
        MakeRunning(host, waitFailed);
    } else if (next) {
        MoveTimeTo(*next);
    }
}

// Null if nobody has a time-out.
ManualClock_t::task_t* ManualClock_t::EarliestTimeout() const {
    task_t* next = nullptr;
    for (task_t* task : tasks) {
        if (task->isWaiting && !task->hasEnded && task->deadline != never &&
            (!next || task->deadline < next->deadline)) {
            next = task;
        }
    }
    return next;
}

void ManualClock_t::MoveTimeTo(task_t& next) {
    if (next.deadline > now) {
        const uint64_t units = next.deadline - now;
        now = next.deadline;
        timePassed(units);
    }
    MakeRunning(next, waitTimedOut);
}

void ManualClock_t::Reset(uint64_t newFirstCount) {
    const lock_t lock(mutex);
    firstCount = newFirstCount;
    now = 0;
    hostReadings = 0;
    refuseThread = false;
}

ManualClock_t::task_t* ManualClock_t::AddThread() {
    const lock_t lock(mutex);
    tasks.reserve(tasks.size() + 1);  // so that nothing fails once there is a task
    auto* task = new task_t;
    task->isNew = true;
    if (!ownTask) hostThread = std::this_thread::get_id();
    tasks.insert(tasks.end() - 1, task);
    return task;
}

void ManualClock_t::BeginThread(task_t* task) {
    lock_t lock(mutex);
    ownTask = task;
    task->turn.wait(lock, [&] { return running == task; });
}

void ManualClock_t::EndThread(task_t* task) {
    const lock_t lock(mutex);
    task->hasEnded = true;
    ownTask = nullptr;
    PassOn();
}

void ManualClock_t::RemoveThread(task_t* task) {
    const lock_t lock(mutex);
    Remove(task);
}

void ManualClock_t::Remove(task_t* task) {
    tasks.erase(std::find(tasks.begin(), tasks.end(), task));
    delete task;
}

}  // namespace platform
