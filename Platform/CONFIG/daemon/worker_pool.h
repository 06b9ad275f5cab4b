// Threads for what takes its time.
#ifndef CONFIGD_WORKER_POOL_H
#define CONFIGD_WORKER_POOL_H

#include "file_descriptor.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

namespace configd {

// Runs work on a few threads of its own, in the order in which it is handed over. All functions
// belong to the one thread that has the pool.
class WorkerPool {
  public:
    // The threads start with the first work. Throws std::system_error.
    explicit WorkerPool(std::size_t threads);
    WorkerPool(const WorkerPool &) = delete;
    WorkerPool &operator=(const WorkerPool &) = delete;
    // Waits for the work that runs. What has not begun never does.
    ~WorkerPool();

    // Has `work` run on one of the threads, then `done` in finish().
    void start(std::function<void()> work, std::function<void()> done);

    // Readable when there is something to finish.
    int descriptor() const noexcept { return finished_event_.get(); }

    // Calls the `done` of all work that has ended since. Throws what the work threw instead.
    void finish();

  private:
    struct Task {
        std::packaged_task<void()> work;
        std::function<void()> done;
    };

    void run_tasks();

    std::size_t size_;
    FileDescriptor finished_event_;
    std::mutex mutex_; // for what follows, but the threads
    std::condition_variable changed_;
    std::deque<Task> waiting_;
    std::deque<Task> finished_;
    bool stopping_ = false;
    std::vector<std::thread> threads_;
};

} // namespace configd

#endif
