// A spectrum as the drivers put it in line (ordered_work.h): read on the
// driver's thread, cleaned by a worker, written back on the driver's thread.
#pragma once

#include <string>

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

}  // namespace orvane
