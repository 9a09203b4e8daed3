// Cleaning on several engine objects at once, with the same bytes as one run.
//
// The inputs are cut into work units: contiguous groups of DTA files, whole
// MGF files, or, when there are fewer MGF files than workers, contiguous parts
// of an MGF file cut where a cut can't change what the reader sees. Each unit
// is cleaned by its own CleanFiles call into a private staging folder of the
// output folder, with a log of its own. When the units are done the outputs
// and logs are joined in input order into exactly what a single run over all
// inputs would have written, each joined file written under a temporary name
// and renamed into place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cleaning/clean_params.h"
#include "platform/hresult.h"
#include "platform/host_window.h"

namespace orvane::app {

// "\n" + 63 dashes + "\n": how every rule of the log begins.
const std::string& LogRuleStart();
// The rule an MGF file's last read (the one that finds the end) writes.
const std::string& LogEndOfFileRule();

// Byte offsets at which an MGF file may be cut into parts: each is the start
// of a line that begins with "BEGIN IONS" after a short line that begins with
// "END IONS" and nothing but short lines the reader skips between blocks, so
// every part starts between blocks just as the whole file does there (short:
// read whole in one read, so no piece of it can pass for a block start). Aims at nParts parts of equal size, none below minPartBytes;
// answers the cuts in ascending order (without 0 and the end); none for a
// gzip file.
std::vector<std::uint64_t> FindMgfCuts(const std::string& path, unsigned nParts,
                                       std::uint64_t minPartBytes);

// One work unit: inputs (indexes into the run's input list) cleaned by one
// CleanFiles call; for a part of an MGF file, the byte range of the part.
struct WorkUnit {
  std::vector<std::size_t> inputs;
  bool bPart = false;
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
  bool bLastPart = true;  // the last (or only) piece of its input
};

// Splits the run into units of similar weight: DTA files in at most nJobs
// contiguous groups; MGF files one unit each, and a file larger than a job's
// share of the run's bytes cut into as many parts as it has shares (at most
// nJobs).
std::vector<WorkUnit> PlanUnits(int nMode, const std::vector<std::string>& inputs, unsigned nJobs,
                                std::uint64_t minPartBytes);

// The head of a unit's log (title and parameter dump): the text before its
// first rule, or all of it when it has none.
std::string_view LogHead(std::string_view logStart);

// What of a unit's log goes into the joined log: [first, last) of its bytes.
// start holds its first bytes, tail its last; a log that begins with head
// loses it, and with dropEndRule one that ends with the empty end-of-file
// rule loses that.
struct ByteRange {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
};
ByteRange LogBody(std::string_view start, std::string_view tail, std::uint64_t size,
                  std::string_view head, bool dropEndRule);

// Everything one parallel run needs from the host.
struct ParallelCleanJob {
  int nMode = 1;                     // 0 DTA, 1 MGF
  std::vector<std::string> inputs;
  std::string folder;                // the output folder, ends in "/", exists
  std::string logFile;               // empty: no log
  std::string mgfDialect = "modern";
  CleanParams params;                // the settings; paths and pointers are set per unit
  unsigned nJobs = 2;
  CEvent* pCancel = nullptr;
  int nProgressStyle = 0;            // 0 quiet, 1 lines, 2 bars
  std::uint64_t minPartBytes = 256 * 1024;
};

struct ParallelCleanResult {
  HRESULT hr = S_OK;                 // the status a single run would have had
  bool bStopped = false;             // the cancel event stopped the run
  bool bJoinFailed = false;          // a joined output couldn't be written (reported)
  std::size_t nSpectra = 0;          // spectra (MGF) or files (DTA) worked through
  std::size_t nUnits = 0;
  // Inputs (as the boxes named them) that had errors, with their numbers.
  std::vector<std::pair<std::string, unsigned>> errors;
};

// Runs the job on up to nJobs threads and joins the results into the output
// folder. Boxes of the workers go to the installed reporter as one line each,
// prefixed with their input.
ParallelCleanResult RunParallelClean(const ParallelCleanJob& job);

}  // namespace orvane::app
