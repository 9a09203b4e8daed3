// A spectrum as the drivers put it in line (ordered_work.h): read on the
// driver's thread, cleaned by a worker, written back on the driver's thread.
#pragma once

#include <string>

#include "platform/hresult.h"

#include "cleaning/clean_spectrum.h"
#include "cleaning/ordered_work.h"

namespace orvane {

struct SpectrumTask : OrderedWork::Task {
  Dta dtaIn;
  Dta dtaOut;
  Verdict verdict = Verdict::Cleaned;
  std::string log;  // the pipeline's log lines for it
  const CleanParams* pParams = nullptr;
  MgfDialect dialect = MgfDialect::Classic;

  void Work() override {
    verdict = CleanSpectrum(dtaIn, pParams, dialect, dtaOut, pParams->bWriteLog ? &log : nullptr);
  }
};

// Hands the tasks that are done to commit in input order, as TaskType: all of
// them with everything, else waiting only while the line is full. S_OK, or
// the first other answer of commit, which ends the run.
template <class TaskType, class Commit>
HRESULT CommitDone(OrderedWork& work, bool everything, Commit&& commit) {
  while (auto done = work.Take(everything || work.Full())) {
    if (const HRESULT hr = commit(static_cast<TaskType&>(*done)); hr != S_OK) return hr;
  }
  return S_OK;
}

}  // namespace orvane
