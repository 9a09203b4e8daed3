// Work on several threads, handed back in the order it came in.
//
// A run puts its tasks in one after another and takes them back in the same
// order, each once its work is done. Tasks that have work run on worker
// threads; the others keep their place in the line. With one job there are
// no threads: a task's work is done on the calling thread as it is put in,
// so a run on one job is a plain loop.
//
// Whatever a task's work shows in boxes is recorded with the task and shown
// again when the caller says so, in the order of the tasks: the messages of
// a run come out the same on any number of jobs.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/reporter.h"

namespace orvane {

// Boxes kept to be shown later, in the order they came.
class BoxRecord final : public IReporter {
 public:
  void Show(BoxKind kind, std::string_view text) override { boxes_.emplace_back(kind, std::string(text)); }
  // Shows them through the reporter in charge now, and forgets them.
  void Replay();

 private:
  std::vector<std::pair<BoxKind, std::string>> boxes_;
};

class OrderedWork {
 public:
  struct Task {
    virtual ~Task() = default;
    // The work, done once on a worker (or on the caller with one job) when
    // bWork is set. Boxes it shows go to boxes.
    virtual void Work() {}
    bool bWork = false;
    BoxRecord boxes;

   private:
    friend class OrderedWork;
    bool bDone_ = false;
  };

  // nJobs workers; 0 and 1 both mean the calling thread alone.
  explicit OrderedWork(unsigned nJobs);
  // The workers finish the task in hand; tasks not begun are dropped.
  ~OrderedWork();
  OrderedWork(const OrderedWork&) = delete;
  OrderedWork& operator=(const OrderedWork&) = delete;

  // Puts a task in at the end of the line.
  void Put(std::unique_ptr<Task> task);
  // The first task of the line once its work is done; nullptr when the line
  // is empty, or (wait false) while the first is still at work.
  std::unique_ptr<Task> Take(bool wait);
  // Whether the line is as long as it may get: Take(true) before the next Put.
  bool Full() const;

 private:
  void Worker();

  const std::size_t window_;
  mutable std::mutex mutex_;
  std::condition_variable workAvailable_;
  std::condition_variable workDone_;
  std::deque<std::unique_ptr<Task>> line_;
  std::deque<Task*> waiting_;  // tasks whose work has not begun, in order
  bool stopping_ = false;
  std::vector<std::thread> workers_;
};

// Runs work with boxes recorded in record (for what a reader shows while it
// fills a task).
template <class Work>
decltype(auto) Recorded(BoxRecord& record, Work&& work) {
  ScopedThreadReporter scope(&record);
  return work();
}

}  // namespace orvane
