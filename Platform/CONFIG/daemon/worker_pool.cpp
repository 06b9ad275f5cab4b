#include "worker_pool.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace configd {

WorkerPool::WorkerPool(std::size_t threads)
    : size_{threads}, finished_event_{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)} {
    if (finished_event_.get() < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

WorkerPool::~WorkerPool() {
    {
        const std::lock_guard lock{mutex_};
        stopping_ = true;
    }
    changed_.notify_all();
    for (std::thread &thread : threads_) {
        thread.join();
    }
}

void WorkerPool::start(std::function<void()> work, std::function<void()> done) {
    {
        const std::lock_guard lock{mutex_};
        waiting_.push_back({std::packaged_task<void()>{std::move(work)}, std::move(done)});
    }
    changed_.notify_one();
    while (threads_.size() < size_) {
        threads_.emplace_back([this] { run_tasks(); });
    }
}

void WorkerPool::finish() {
    eventfd_t count = 0;
    ::eventfd_read(finished_event_.get(), &count);
    std::deque<Task> finished;
    {
        const std::lock_guard lock{mutex_};
        finished.swap(finished_);
    }
    for (Task &task : finished) {
        task.work.get_future().get();
        task.done();
    }
}

void WorkerPool::run_tasks() {
    std::unique_lock lock{mutex_};
    while (true) {
        changed_.wait(lock, [this] { return stopping_ || !waiting_.empty(); });
        if (stopping_) {
            return;
        }
        Task task = std::move(waiting_.front());
        waiting_.pop_front();
        lock.unlock();
        task.work();
        lock.lock();
        finished_.push_back(std::move(task));
        ::eventfd_write(finished_event_.get(), 1);
    }
}

} // namespace configd
