// SPDX-License-Identifier: MIT
#include "runner.h"

#include "output/console.h"
#include "tdr/interruptGuard.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

namespace {

JobResult withoutMemory(const Job& job) {
    const std::string problem = job.input.path + ": out of memory";
    warn(problem);
    return {Fate::Failed, ExitCode::Failed, problem, Cause::NoMemory};
}

/// The jobs to do and the results, shared by the workers and the thread that reports.
class Queue {
  public:
    explicit Queue(std::size_t size) : results_(size), ready_(size) {}

    /// The index of the next job; none if there is none, or after a signal.
    std::optional<std::size_t> next() {
        const bool stopped = tdr::InterruptGuard::signal() != 0;
        const std::size_t index = stopped ? results_.size() : next_.fetch_add(1);
        return index < results_.size() ? std::optional(index) : std::nullopt;
    }

    void stop() { next_ = results_.size(); }

    void put(std::size_t index, JobResult result) {
        const std::lock_guard lock(mutex_);
        results_[index] = std::move(result);
        ready_[index] = true;
        changed_.notify_one();
    }
    void beginWorker() {
        const std::lock_guard lock(mutex_);
        ++workers_;
    }
    void endWorker() {
        const std::lock_guard lock(mutex_);
        --workers_;
        changed_.notify_one();
    }

    /// Waits for a result; false if its job will not be done.
    bool take(std::size_t index, JobResult& result) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return ready_[index] || workers_ == 0; });
        result = std::move(results_[index]);
        return ready_[index];
    }

  private:
    std::atomic<std::size_t> next_ = 0;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<JobResult> results_;
    std::vector<bool> ready_;
    std::size_t workers_ = 0;
};

void work(const std::vector<Job>& jobs, const std::function<Worker()>& makeWorker, Queue& queue) {
    try {
        const Worker worker = makeWorker();
        while (const auto index = queue.next()) {
            queue.put(*index, runOne(jobs[*index], worker));
        }
    } catch (const std::bad_alloc&) { // the others go on; if nobody does, the jobs have failed
    }
    queue.endWorker();
}

/// Joins its threads at its end; what is not begun by then is not done.
class Threads {
  public:
    explicit Threads(Queue& queue) : queue_(queue) {}
    ~Threads() {
        queue_.stop();
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }
    Threads(const Threads&) = delete;
    Threads& operator=(const Threads&) = delete;

    /// Starts as many as the system allows; returns the number.
    std::size_t start(std::size_t count, const std::function<void()>& body) {
        threads_.reserve(count);
        while (threads_.size() < count) {
            queue_.beginWorker();
            try {
                threads_.emplace_back(body);
            } catch (const std::system_error&) { // fewer are only slower
                queue_.endWorker();
                break;
            }
        }
        return threads_.size();
    }

  private:
    Queue& queue_;
    std::vector<std::thread> threads_;
};

} // namespace

JobResult runOne(const Job& job, const Worker& worker) {
    using Clock = std::chrono::steady_clock;
    if (job.skipped) {
        return {Fate::Skipped, ExitCode::Done, "it exists"};
    }
    const auto begun = Clock::now();
    CollectedMessages messages;
    JobResult result;
    try {
        result = worker(job);
    } catch (const std::bad_alloc&) {
        result = withoutMemory(job);
    }
    result.messages = messages.take();
    result.seconds = std::chrono::duration<double>(Clock::now() - begun).count();
    return result;
}

void runJobs(const std::vector<Job>& jobs, std::size_t workers,
             const std::function<Worker()>& makeWorker,
             const std::function<void(const Job& job, const JobResult& result)>& report) {
    Queue queue(jobs.size());
    Threads threads(queue);
    const std::size_t wanted = std::min(workers, jobs.size());
    if (wanted > 1 && threads.start(wanted, [&] { work(jobs, makeWorker, queue); }) > 0) {
        for (std::size_t i = 0; i < jobs.size(); ++i) {
            JobResult result;
            if (queue.take(i, result)) {
                report(jobs[i], result);
            } else if (tdr::InterruptGuard::signal() == 0) { // its worker has ended
                report(jobs[i], runOne(jobs[i], withoutMemory));
            }
        }
        return;
    }
    const Worker worker = makeWorker();
    while (const auto index = queue.next()) {
        report(jobs[*index], runOne(jobs[*index], worker));
    }
}
