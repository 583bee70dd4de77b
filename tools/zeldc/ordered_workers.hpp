// Jobs made and delivered in order by the calling thread, worked on by several others in between.
#pragma once

#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace tool {

// The threads and what they share. At most 2 * threads + 1 jobs exist at a time.
template <class Job, class MakeWorker>
class WorkerPool {
  public:
    struct Slot {
        Job job;
        bool done = false;
        std::exception_ptr error;
    };

    WorkerPool(unsigned threads, MakeWorker& makeWorker) {
        try {
            for (unsigned i = 0; i < threads; ++i) {
                threads_.emplace_back([this, &makeWorker] { run(makeWorker); });
            }
        } catch (...) {
            stop();
            throw;
        }
    }
    ~WorkerPool() { stop(); }
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    void start(Slot& slot) {
        slot.done = false;
        slot.error = nullptr;
        const std::lock_guard lock(mutex_);
        waiting_.push_back(&slot);
        work_.notify_one();
    }

    void finish(Slot& slot) {
        std::unique_lock lock(mutex_);
        done_.wait(lock, [&slot] { return slot.done; });
        lock.unlock();
        if (slot.error) std::rethrow_exception(slot.error);
    }

  private:
    void stop() {
        {
            const std::lock_guard lock(mutex_);
            stopping_ = true;
        }
        work_.notify_all();
        for (auto& thread : threads_)
            thread.join();
    }

    Slot* next() {
        std::unique_lock lock(mutex_);
        work_.wait(lock, [this] { return stopping_ || !waiting_.empty(); });
        if (stopping_) return nullptr;
        Slot* slot = waiting_.front();
        waiting_.pop_front();
        return slot;
    }

    // Memory is taken inside the try block, so that its lack is reported like any failure.
    void run(MakeWorker& makeWorker) {
        decltype(makeWorker()) worker;
        while (Slot* slot = next()) {
            try {
                if (!worker) worker = makeWorker();
                (*worker)(slot->job);
            } catch (...) {
                slot->error = std::current_exception();
            }
            const std::lock_guard lock(mutex_);
            slot->done = true;
            done_.notify_all();
        }
    }

    std::vector<std::thread> threads_;
    std::deque<Slot*> waiting_;
    std::mutex mutex_;
    std::condition_variable work_;
    std::condition_variable done_;
    bool stopping_ = false;
};

// produce(job) fills a job, which may be one that was used before, and returns false when there is
// none; makeWorker() gives a pointer to something to call with a job; deliver(job) comes in the
// order of production. With one thread everything happens in the calling one. What any of them
// throws comes out here, the failures of workers in the order of their jobs.
template <class Job, class Produce, class MakeWorker, class Deliver>
void runOrdered(unsigned threads, Produce produce, MakeWorker makeWorker, Deliver deliver) {
    if (threads <= 1) {
        auto worker = makeWorker();
        Job job;
        while (produce(job)) {
            (*worker)(job);
            deliver(job);
        }
        return;
    }
    using Pool = WorkerPool<Job, MakeWorker>;
    using Slot = typename Pool::Slot;
    // Slots outlive the pool: its threads may still be at work on them when something throws.
    std::deque<std::unique_ptr<Slot>> busy;
    std::vector<std::unique_ptr<Slot>> spare;
    Pool pool(threads, makeWorker);
    const size_t limit = 2 * size_t{threads} + 1;
    for (bool more = true; more || !busy.empty();) {
        if (more && busy.size() < limit) {
            if (spare.empty()) spare.push_back(std::make_unique<Slot>());
            more = produce(spare.back()->job);
            if (!more) continue;
            busy.push_back(std::move(spare.back()));
            spare.pop_back();
            pool.start(*busy.back());
        } else {
            pool.finish(*busy.front());
            deliver(busy.front()->job);
            spare.push_back(std::move(busy.front()));
            busy.pop_front();
        }
    }
}

}  // namespace tool
