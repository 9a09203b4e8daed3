#include "cleaning/ordered_work.h"

#include <exception>

namespace orvane {
namespace {

// Each worker has a few tasks ahead of it, so none waits for the caller.
constexpr std::size_t kTasksPerJob = 8;

void DoWork(OrderedWork::Task& task) {
  ScopedThreadReporter scope(&task.boxes);
  try {
    task.Work();
  } catch (const std::exception& e) {
    ShowError(e.what());
  } catch (...) {
    ShowError("unexpected failure");
  }
}

}  // namespace

void BoxRecord::Replay() {
  for (const auto& [kind, text] : boxes_) ShowBox(kind, text);
  boxes_.clear();
}

OrderedWork::OrderedWork(unsigned nJobs) : window_(nJobs > 1 ? kTasksPerJob * nJobs : 1) {
  if (nJobs <= 1) return;
  workers_.reserve(nJobs);
  for (unsigned i = 0; i < nJobs; ++i) workers_.emplace_back([this] { Worker(); });
}

OrderedWork::~OrderedWork() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
    waiting_.clear();
  }
  workAvailable_.notify_all();
  for (std::thread& t : workers_) t.join();
}

void OrderedWork::Put(std::unique_ptr<Task> task) {
  if (workers_.empty() || !task->bWork) {
    if (task->bWork) DoWork(*task);
    std::lock_guard lock(mutex_);
    task->bDone_ = true;
    line_.push_back(std::move(task));
    return;
  }
  {
    std::lock_guard lock(mutex_);
    waiting_.push_back(task.get());
    line_.push_back(std::move(task));
  }
  workAvailable_.notify_one();
}

std::unique_ptr<OrderedWork::Task> OrderedWork::Take(bool wait) {
  std::unique_lock lock(mutex_);
  if (line_.empty()) return nullptr;
  if (!line_.front()->bDone_) {
    if (!wait) return nullptr;
    workDone_.wait(lock, [this] { return line_.front()->bDone_; });
  }
  std::unique_ptr<Task> task = std::move(line_.front());
  line_.pop_front();
  return task;
}

bool OrderedWork::Full() const {
  std::lock_guard lock(mutex_);
  return line_.size() >= window_;
}

void OrderedWork::Worker() {
  for (;;) {
    Task* task = nullptr;
    {
      std::unique_lock lock(mutex_);
      workAvailable_.wait(lock, [this] { return stopping_ || !waiting_.empty(); });
      if (stopping_) return;
      task = waiting_.front();
      waiting_.pop_front();
    }
    DoWork(*task);
    {
      std::lock_guard lock(mutex_);
      task->bDone_ = true;
    }
    workDone_.notify_all();
  }
}

}  // namespace orvane
