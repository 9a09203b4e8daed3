#include "parallel_run.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

#include "frame/interfaces.h"
#include "platform/class_registry.h"
#include "platform/format.h"
#include "platform/reporter.h"
#include "platform/text_file.h"
#include "spectrum/file_path.h"

namespace orvane::app {

namespace fs = std::filesystem;

const std::string& LogRuleStart() {
  static const std::string rule = "\n" + std::string(63, '-') + "\n";
  return rule;
}

const std::string& LogEndOfFileRule() {
  static const std::string rule = LogRuleStart() + "\n";
  return rule;
}

namespace {

bool StartsWith(const char* text, std::size_t length, const char* prefix) {
  const std::size_t n = std::strlen(prefix);
  return length >= n && std::memcmp(text, prefix, n) == 0;
}

// A line that ends a block whole in one read of the reader (254 characters),
// so nothing of it can be taken for the start of another block.
constexpr std::size_t kShortLine = 200;

// Reads one line, keeping its first characters in head (zero-terminated):
// however long the line, no more of it is held. Answers its length in bytes,
// 0 at the end of the file.
std::size_t ReadLineHead(std::FILE* file, char (&head)[kShortLine + 2]) {
  // Byte by byte: only the few lines around a cut are read, and a NUL byte
  // inside a line counts as the byte it is.
  std::size_t length = 0;
  int c = 0;
  while ((c = std::getc(file)) != EOF) {
    if (length + 1 < sizeof head) head[length] = static_cast<char>(c);
    ++length;
    if (c == '\n') break;
  }
  head[std::min(length, sizeof head - 1)] = '\0';
  return length;
}

// The first cut at or after offset, or 0 if there is none.
std::uint64_t CutAtOrAfter(std::FILE* file, std::uint64_t offset) {
  // Start a little early and skip to the end of that line, so that the lines
  // before a cut right at offset are seen whole.
  const std::uint64_t from = offset > 1024 ? offset - 1024 : 0;
  if (std::fseek(file, static_cast<long>(from), SEEK_SET) != 0) return 0;
  std::uint64_t pos = from;
  char line[kShortLine + 2];
  std::size_t length = 0;
  if (from > 0) {
    length = ReadLineHead(file, line);
    if (length == 0) return 0;
    pos += length;
  }
  // Between blocks: after a short END IONS line, over short lines that the
  // reader skips there (blank lines, say), up to the next BEGIN IONS.
  bool between = false;
  std::uint64_t cut = 0;
  while ((length = ReadLineHead(file, line)) > 0) {
    const std::size_t n = length;
    const std::size_t held = std::min(n, sizeof line - 1);
    if (StartsWith(line, held, "BEGIN IONS")) {
      if (between && pos >= offset) {
        cut = pos;
        break;
      }
    } else if (n <= kShortLine && StartsWith(line, held, "END IONS")) {
      between = true;
    } else if (n > kShortLine) {
      between = false;
    }
    pos += n;
  }
  return cut;
}

std::uint64_t FileSize(const std::string& path) {
  std::error_code ec;
  const auto size = fs::file_size(path, ec);
  return ec ? 0 : static_cast<std::uint64_t>(size);
}

}  // namespace

std::vector<std::uint64_t> FindMgfCuts(const std::string& path, unsigned nParts,
                                       std::uint64_t minPartBytes) {
  std::vector<std::uint64_t> cuts;
  const std::uint64_t size = FileSize(path);
  if (nParts < 2 || size == 0) return cuts;
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return cuts;
  // A gzip file can't be cut at byte offsets: it goes to one engine whole.
  const int b0 = std::fgetc(file);
  const int b1 = std::fgetc(file);
  if (b0 == 0x1f && b1 == 0x8b) {
    std::fclose(file);
    return cuts;
  }
  std::uint64_t last = 0;
  for (unsigned k = 1; k < nParts; ++k) {
    const std::uint64_t target = std::max(size / nParts * k, last + std::max<std::uint64_t>(minPartBytes, 1));
    if (target + minPartBytes > size) break;
    const std::uint64_t cut = CutAtOrAfter(file, target);
    if (cut == 0 || cut <= last || cut + minPartBytes > size) break;
    cuts.push_back(cut);
    last = cut;
  }
  std::fclose(file);
  return cuts;
}

std::vector<WorkUnit> PlanUnits(int nMode, const std::vector<std::string>& inputs, unsigned nJobs,
                                std::uint64_t minPartBytes) {
  std::vector<WorkUnit> units;
  const std::size_t n = inputs.size();
  if (n == 0) return units;
  nJobs = std::max(nJobs, 1u);
  if (nMode == 0) {
    // DTA files are small and alike: contiguous groups, one per job.
    const std::size_t groups = std::min<std::size_t>(nJobs, n);
    std::size_t next = 0;
    for (std::size_t g = 0; g < groups; ++g) {
      WorkUnit unit;
      const std::size_t stop = n * (g + 1) / groups;
      for (; next < stop; ++next) unit.inputs.push_back(next);
      units.push_back(std::move(unit));
    }
    return units;
  }
  // MGF: each file is a unit, cut into parts when it is larger than a
  // job's share of the run, so that one large file among small ones doesn't
  // keep a single engine busy after the others are done.
  std::vector<std::uint64_t> sizes(n);
  std::uint64_t total = 0;
  for (std::size_t i = 0; i < n; ++i) total += sizes[i] = FileSize(inputs[i]);
  for (std::size_t i = 0; i < n; ++i) {
    unsigned parts = 1;
    if (nJobs > 1 && total > 0) {
      const double share = static_cast<double>(sizes[i]) * nJobs / static_cast<double>(total);
      // A file a little above its share stays whole.
      parts = static_cast<unsigned>(std::clamp<double>(std::ceil(share - 0.25), 1.0, nJobs));
    }
    const std::vector<std::uint64_t> cuts =
        parts > 1 ? FindMgfCuts(inputs[i], parts, minPartBytes) : std::vector<std::uint64_t>();
    if (cuts.empty()) {
      WorkUnit unit;
      unit.inputs.push_back(i);
      units.push_back(std::move(unit));
      continue;
    }
    const std::uint64_t size = FileSize(inputs[i]);
    std::uint64_t begin = 0;
    for (std::size_t c = 0; c <= cuts.size(); ++c) {
      WorkUnit unit;
      unit.inputs.push_back(i);
      unit.bPart = true;
      unit.begin = begin;
      unit.end = c < cuts.size() ? cuts[c] : size;
      unit.bLastPart = c == cuts.size();
      begin = unit.end;
      units.push_back(std::move(unit));
    }
  }
  return units;
}

std::string_view LogHead(std::string_view logStart) {
  const auto rule = logStart.find(LogRuleStart());
  return rule == std::string_view::npos ? logStart : logStart.substr(0, rule);
}

ByteRange LogBody(std::string_view start, std::string_view tail, std::uint64_t size,
                  std::string_view head, bool dropEndRule) {
  ByteRange range{0, size};
  if (!head.empty() && start.substr(0, head.size()) == head) range.first = head.size();
  const std::string& end = LogEndOfFileRule();
  if (dropEndRule && tail.size() >= end.size() && tail.substr(tail.size() - end.size()) == end &&
      size - end.size() >= range.first)
    range.last = size - end.size();
  return range;
}

namespace {

// ------------------------------------------------------------ file helpers

std::atomic<unsigned> g_joinCounter{0};

// The temporary name of a joined output: hidden, in the output's folder, with
// the process id, so a later run can tell a stale one.
std::string JoinTempName(const std::string& path) {
  const auto slash = path.find_last_of('/');
  const std::string folder = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  return folder + "." + name + ".part-" + std::to_string(::getpid()) + "-j" +
         std::to_string(g_joinCounter.fetch_add(1));
}

bool CopyRange(int in, std::uint64_t first, std::uint64_t last, int out) {
  auto offset = static_cast<off_t>(first);
  std::uint64_t left = last - first;
  while (left > 0) {
    const ssize_t n = ::copy_file_range(in, &offset, out, nullptr, left, 0);
    if (n > 0) {
      left -= static_cast<std::uint64_t>(n);
      continue;
    }
    if (n < 0 && errno == EINTR) continue;
    if (n == 0) return false;
    // Filesystems without copy_file_range: plain reads and writes.
    std::vector<char> buffer(1 << 20);
    while (left > 0) {
      const ssize_t r = ::pread(in, buffer.data(), std::min<std::uint64_t>(left, buffer.size()), offset);
      if (r <= 0) return false;
      for (ssize_t done = 0; done < r;) {
        const ssize_t w = ::write(out, buffer.data() + done, static_cast<std::size_t>(r - done));
        if (w <= 0) return false;
        done += w;
      }
      offset += r;
      left -= static_cast<std::uint64_t>(r);
    }
  }
  return true;
}

struct Source {
  std::string path;
  std::uint64_t first = 0;
  std::uint64_t last = 0;  // exclusive
};

// Writes the sources one after the other to path: under a temporary name,
// renamed into place at the end. A single whole source is renamed straight.
bool WriteJoined(const std::string& path, const std::vector<Source>& sources,
                 const std::string& prefix = std::string()) {
  if (prefix.empty() && sources.size() == 1 && sources[0].first == 0 &&
      sources[0].last == FileSize(sources[0].path)) {
    if (std::rename(sources[0].path.c_str(), path.c_str()) == 0) return true;
  }
  const std::string temp = JoinTempName(path);
  const int out = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (out < 0) {
    ShowPlain(Format("Can't write %s: %s", path.c_str(), std::strerror(errno)));
    return false;
  }
  bool ok = prefix.empty() || ::write(out, prefix.data(), prefix.size()) == static_cast<ssize_t>(prefix.size());
  for (const Source& s : sources) {
    if (!ok) break;
    const int in = ::open(s.path.c_str(), O_RDONLY | O_CLOEXEC);
    ok = in >= 0 && CopyRange(in, s.first, s.last, out);
    if (in >= 0) ::close(in);
  }
  const int err = errno;
  if (::close(out) != 0) ok = false;
  if (ok && std::rename(temp.c_str(), path.c_str()) != 0) ok = false;
  if (!ok) {
    std::remove(temp.c_str());
    ShowPlain(Format("Can't write %s: %s", path.c_str(), std::strerror(err ? err : errno)));
  }
  return ok;
}

std::string ReadBytes(const std::string& path, std::uint64_t first, std::size_t count) {
  std::string text;
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) return text;
  if (std::fseek(f, static_cast<long>(first), SEEK_SET) == 0) {
    text.resize(count);
    text.resize(std::fread(text.data(), 1, count, f));
  }
  std::fclose(f);
  return text;
}

// ---------------------------------------------------------------- progress

// Keeps count of all workers' messages and shows the run's progress on
// standard error: a bar redrawn in place, plain lines, or nothing.
class ParallelProgress {
 public:
  ParallelProgress(int style, const ParallelCleanJob& job, const std::vector<WorkUnit>& units)
      : style_(style), job_(job), units_(units), unitTotal_(units.size(), 0),
        unitDone_(units.size(), 0), unitHasTotal_(units.size(), false) {
    for (const WorkUnit& u : units)
      for (std::size_t i : u.inputs) ++partsOf_[i];
  }

  void Message(std::size_t unit, unsigned message, WPARAM wParam) {
    std::lock_guard lock(mutex_);
    switch (message) {
      case PM_STEP_TOTAL:
        unitTotal_[unit] = wParam;
        unitHasTotal_[unit] = true;
        if (job_.nMode == 1) {
          const std::size_t input = units_[unit].inputs.front();
          inputTotal_[input] += wParam;
          if (++totalsSeen_[input] == partsOf_[input])
            Line(Format("%s: %zu spectra", job_.inputs[input].c_str(),
                        static_cast<std::size_t>(inputTotal_[input])));
        }
        break;
      case PM_STEP_DONE: {
        const WPARAM before = unitDone_[unit];
        unitDone_[unit] = wParam;
        done_ += wParam - before;
        if (job_.nMode == 0) {
          const std::size_t total = job_.inputs.size();
          if (total > 0 && done_ * 10 / total != (done_ - 1) * 10 / total)
            Line(Format("%zu/%zu DTA files", done_, total));
        }
        Draw(false);
        break;
      }
      case PM_ROW_DONE:
        if (job_.nMode == 1) {
          const std::size_t input = units_[unit].inputs.front();
          if (++partsDone_[input] == partsOf_[input]) ++filesDone_;
        }
        Draw(true);
        break;
      default:
        break;
    }
  }

  // One line for a box of a worker, clear of the bar.
  void Box(BoxKind kind, const std::string& where, std::string_view text) {
    const std::string line = OneLine(text);
    std::lock_guard lock(mutex_);
    ClearBar();
    // A box that names the file already goes without the prefix.
    if (line.compare(0, where.size(), where) == 0)
      std::fprintf(stderr, "orvane: %s: %s\n", BoxKindName(kind), line.c_str());
    else
      std::fprintf(stderr, "orvane: %s: %s: %s\n", BoxKindName(kind), where.c_str(), line.c_str());
    if (kind == BoxKind::Error || kind == BoxKind::FileError || kind == BoxKind::Stop ||
        kind == BoxKind::Plain) {
      for (auto& [name, count] : errors_)
        if (name == where) {
          ++count;
          return;
        }
      errors_.emplace_back(where, 1u);
    }
  }

  std::vector<std::pair<std::string, unsigned>> Errors() const {
    std::lock_guard lock(mutex_);
    return errors_;
  }

  std::size_t Done() const {
    std::lock_guard lock(mutex_);
    return done_;
  }

  void Finish() {
    std::lock_guard lock(mutex_);
    ClearBar();
  }

 private:
  void Line(const std::string& text) {
    if (style_ != 1) return;
    std::fprintf(stderr, "orvane clean: %s\n", text.c_str());
  }

  void ClearBar() {
    if (barShown_) {
      std::fputs("\r\x1b[K", stderr);
      barShown_ = false;
    }
  }

  void Draw(bool force) {
    if (style_ != 2) return;
    const auto now = std::chrono::steady_clock::now();
    if (!force && barShown_ && now - lastDraw_ < std::chrono::milliseconds(100)) return;
    lastDraw_ = now;
    std::size_t total = 0;
    bool allKnown = true;
    for (std::size_t u = 0; u < units_.size(); ++u) {
      total += unitTotal_[u];
      allKnown = allKnown && unitHasTotal_[u];
    }
    const double fraction = total > 0 ? std::min(1.0, static_cast<double>(done_) / total) : 0.0;
    const int full = static_cast<int>(fraction * 30 + 0.5);
    const std::string bar = std::string(static_cast<std::size_t>(full), '#') +
                            std::string(static_cast<std::size_t>(30 - full), '-');
    const char* unit = job_.nMode == 0 ? "files" : "spectra";
    std::fprintf(stderr, "\r[%s] %3d%% %zu/%zu%s %s | %zu/%zu files | %u jobs\x1b[K", bar.c_str(),
                 static_cast<int>(fraction * 100.0), done_, total, allKnown ? "" : "+", unit,
                 job_.nMode == 0 ? done_ : filesDone_, job_.inputs.size(), job_.nJobs);
    std::fflush(stderr);
    barShown_ = true;
  }

  const int style_;
  const ParallelCleanJob& job_;
  const std::vector<WorkUnit>& units_;
  mutable std::mutex mutex_;
  std::vector<WPARAM> unitTotal_;
  std::vector<WPARAM> unitDone_;
  std::vector<bool> unitHasTotal_;
  std::map<std::size_t, std::size_t> partsOf_, totalsSeen_, partsDone_;
  std::map<std::size_t, WPARAM> inputTotal_;
  std::size_t done_ = 0;
  std::size_t filesDone_ = 0;
  std::vector<std::pair<std::string, unsigned>> errors_;
  bool barShown_ = false;
  std::chrono::steady_clock::time_point lastDraw_{};
};

// The host window of one unit: forwards to the shared progress, and notes
// whether the unit saw the cancel event.
class UnitWindow final : public CWnd {
 public:
  UnitWindow(ParallelProgress& progress, std::size_t unit) : progress_(progress), unit_(unit) {}
  void Send(unsigned message, WPARAM wParam, LPARAM) override { progress_.Message(unit_, message, wParam); }
  void Post(unsigned message, WPARAM, LPARAM) override {
    if (message == PM_CANCELLED) cancelled = true;
  }
  bool cancelled = false;

 private:
  ParallelProgress& progress_;
  std::size_t unit_;
};

// Boxes of one unit, as one line each, named by the unit's input.
class UnitReporter final : public IReporter {
 public:
  UnitReporter(ParallelProgress& progress, std::string where)
      : progress_(progress), where_(std::move(where)) {}
  void Show(BoxKind kind, std::string_view text) override { progress_.Box(kind, where_, text); }

 private:
  ParallelProgress& progress_;
  std::string where_;
};

// ------------------------------------------------------------------ units

struct UnitState {
  enum Outcome { NotRun, Finished, Stopped, Failed } outcome = NotRun;
  HRESULT hr = S_OK;
  std::string folder;  // staging folder of the unit, ends in "/"
  std::string outFolder;
  std::string logPath;
};

bool MakeFolder(const std::string& path) {
  std::error_code ec;
  fs::create_directories(path, ec);
  return !ec;
}

void RunUnit(const ParallelCleanJob& job, const WorkUnit& unit, UnitState& state,
             ParallelProgress& progress, std::size_t index) {
  const std::string& first = job.inputs[unit.inputs.front()];
  UnitReporter reporter(progress, unit.inputs.size() == 1 ? first : first + " ...");
  ScopedThreadReporter scope(&reporter);
  state.outcome = UnitState::Failed;
  state.hr = E_UNEXPECTED;

  CleanFileList files;
  files.nMode = job.nMode;
  if (unit.bPart) {
    // The part goes under the input's own file name, so that its outputs and
    // its MS level are named as the whole file's.
    const std::string partFolder = state.folder + "in/";
    const std::string part = partFolder + FilePath(first).GetFileName();
    const int in = ::open(first.c_str(), O_RDONLY | O_CLOEXEC);
    const int out = MakeFolder(partFolder)
                        ? ::open(part.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644)
                        : -1;
    const bool ok = in >= 0 && out >= 0 && CopyRange(in, unit.begin, unit.end, out);
    if (in >= 0) ::close(in);
    if (out >= 0 && ::close(out) != 0) {
      ShowPlain(Format("Can't write the part file %s", part.c_str()));
      return;
    }
    if (!ok) {
      ShowPlain(Format("Can't write the part file %s: %s", part.c_str(), std::strerror(errno)));
      return;
    }
    files.lstFiles.push_back(part);
    files.lstRows.push_back(static_cast<std::int32_t>(unit.inputs.front()));
  } else {
    for (std::size_t i : unit.inputs) {
      files.lstFiles.push_back(job.inputs[i]);
      files.lstRows.push_back(static_cast<std::int32_t>(i));
    }
  }
  if (!MakeFolder(state.outFolder + "badspectra")) {
    ShowPlain(Format("Can't make the folder %sbadspectra/", state.outFolder.c_str()));
    return;
  }

  ComPtr<ICleanMSMS_Files> pClean;
  HRESULT hr = CoCreateInstance(CLSID_Orvane, nullptr, CLSCTX_INPROC_SERVER, IID_ICleanMSMS_Files,
                                pClean.Out());
  if (FAILED(hr)) {
    ShowNote(Format("Can't create the engine object. \nHRESULT = 0x%x", static_cast<unsigned>(hr)));
    state.hr = hr;
    return;
  }
  {
    ComPtr<IMgfDialect> pDialect;
    hr = pClean->QueryInterface(IID_IMgfDialect, pDialect.Out());
    if (SUCCEEDED(hr))
      hr = pDialect->SetMgfDialect(job.mgfDialect == "classic" ? MgfDialect::Classic
                                                               : MgfDialect::Modern);
    if (FAILED(hr)) {
      state.hr = hr;
      return;
    }
  }

  CStdioFile log;
  if (!job.logFile.empty()) {
    CFileException error;
    if (!log.Open(state.logPath, CStdioFile::modeCreate | CStdioFile::modeWrite | CStdioFile::modeDirect,
                  &error)) {
      error.ReportError();
      return;
    }
  }
  UnitWindow window(progress, index);
  CleanParams params = job.params;
  params.bWriteLog = log.IsOpen();
  params.pLogFile = log.IsOpen() ? &log : nullptr;
  params.pFileList = &files;
  params.hProgressWnd = &window;
  params.pCancelEvent = job.pCancel;
  params.strOutputFolder = state.outFolder;
  params.pRawReader = nullptr;
  params.pRawOptions = nullptr;
  hr = pClean->CleanFiles(&params);
  if (log.IsOpen()) {
    try {
      log.Close();
    } catch (const CFileException& e) {
      e.ReportError();
    }
  }
  state.hr = hr;
  if (window.cancelled)
    state.outcome = UnitState::Stopped;
  else
    state.outcome = FAILED(hr) ? UnitState::Failed : UnitState::Finished;
}

// ------------------------------------------------------------------ joining

// Files of a folder (not its subfolders), by name.
std::vector<std::string> FilesIn(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code ec;
  for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec))
    if (it->is_regular_file(ec)) names.push_back(it->path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

bool Exists(const std::string& path) {
  struct stat st {};
  return ::stat(path.c_str(), &st) == 0;
}

// Joins a set of staging files (relative path rel in each unit's output
// folder) into folder + rel. made: whether a single run would have created
// the file at all; deletable: a bad file the driver removes when empty.
bool JoinOutput(const std::string& folder, const std::string& rel,
                const std::vector<const UnitState*>& units, bool deletable) {
  std::vector<Source> sources;
  std::uint64_t total = 0;
  for (const UnitState* u : units) {
    const std::string path = u->outFolder + rel;
    if (!Exists(path)) continue;
    const std::uint64_t size = FileSize(path);
    sources.push_back({path, 0, size});
    total += size;
  }
  const std::string target = folder + rel;
  if (deletable && total == 0) {
    std::remove(target.c_str());
    return true;
  }
  return WriteJoined(target, sources);
}

// Whether the outputs of the units [first, last) are whole: in the modern
// dialect an input's outputs are joined only when every part of it finished
// (a part that failed or stopped has thrown its own away), as a single run
// keeps the outputs of the inputs it finished and no others.
bool Whole(const ParallelCleanJob& job, const std::vector<UnitState>& states, std::size_t first,
           std::size_t last) {
  if (job.mgfDialect == "classic") return true;
  for (std::size_t u = first; u < last; ++u)
    if (states[u].outcome != UnitState::Finished) return false;
  return true;
}

bool JoinMgf(const ParallelCleanJob& job, const std::vector<WorkUnit>& units,
             const std::vector<UnitState>& states, std::size_t nJoined) {
  const CleanParams& p = job.params;
  const bool separate = p.bExportBad && p.nBadSpectraAction == 1;
  bool ok = true;
  if (p.bMergeOutput) {
    if (!Whole(job, states, 0, units.size())) return true;
    std::vector<const UnitState*> all;
    for (std::size_t u = 0; u < nJoined; ++u) all.push_back(&states[u]);
    // The modern dialect makes no merged file that no spectrum went to.
    const bool modern = job.mgfDialect != "classic";
    auto made = [&](const std::string& rel) {
      for (const UnitState* u : all)
        if (Exists(u->outFolder + rel)) return true;
      return !modern;
    };
    if (made("SpectraMerged_c.mgf")) ok &= JoinOutput(job.folder, "SpectraMerged_c.mgf", all, false);
    if (made("badspectra/SpectraMerged_b.mgf"))
      ok &= JoinOutput(job.folder, "badspectra/SpectraMerged_b.mgf", all, separate);
    for (const char* tag : {"ms2", "ms3"}) {
      const std::string clean = Format("SpectraMerged_%s_c.mgf", tag);
      bool anyMade = false;
      for (const UnitState* u : all) anyMade = anyMade || Exists(u->outFolder + clean);
      if (!anyMade) continue;
      ok &= JoinOutput(job.folder, clean, all, false);
      if (separate)
        ok &= JoinOutput(job.folder, Format("badspectra/SpectraMerged_%s_b.mgf", tag), all, true);
    }
    return ok;
  }
  // One input after the other, its parts in order, so that a later input of
  // the same name replaces an earlier one as in a single run.
  for (std::size_t u = 0; u < nJoined;) {
    const std::size_t input = units[u].inputs.front();
    std::vector<const UnitState*> parts;
    const std::size_t first = u;
    for (; u < nJoined && units[u].inputs.front() == input; ++u) parts.push_back(&states[u]);
    std::size_t last = u;
    while (last < units.size() && units[last].inputs.front() == input) ++last;
    if (!Whole(job, states, first, last)) continue;
    const FilePath path(WithoutGzipSuffix(job.inputs[input]));
    const std::string clean = path.GetFileTitle() + "_c." + path.GetExtension();
    bool made = false;
    for (const UnitState* s : parts) made = made || Exists(s->outFolder + clean);
    if (!made) continue;
    ok &= JoinOutput(job.folder, clean, parts, false);
    if (separate)
      ok &= JoinOutput(job.folder,
                       "badspectra/" + path.GetFileTitle() + "_bad_c." + path.GetExtension(),
                       parts, true);
  }
  return ok;
}

bool JoinDta(const ParallelCleanJob& job, const std::vector<UnitState>& states, std::size_t nJoined) {
  bool ok = true;
  for (std::size_t u = 0; u < nJoined; ++u) {
    for (const char* sub : {"", "badspectra/"}) {
      const std::string from = states[u].outFolder + sub;
      for (const std::string& name : FilesIn(from))
        ok &= WriteJoined(job.folder + sub + name, {{from + name, 0, FileSize(from + name)}});
    }
  }
  return ok;
}

bool JoinLogs(const ParallelCleanJob& job, const std::vector<WorkUnit>& units,
              const std::vector<UnitState>& states, std::size_t nJoined) {
  std::string head;
  bool haveHead = false;
  std::vector<Source> sources;
  for (std::size_t u = 0; u < nJoined; ++u) {
    const std::string& path = states[u].logPath;
    if (!Exists(path)) continue;
    const std::uint64_t size = FileSize(path);
    const std::string start = ReadBytes(path, 0, 64 * 1024);
    if (!haveHead && size > 0) {
      head = std::string(LogHead(start));
      haveHead = true;
    }
    const std::size_t tailSize = LogEndOfFileRule().size();
    const std::string tail = size >= tailSize ? ReadBytes(path, size - tailSize, tailSize) : std::string();
    // Every part of a file but its last ends where the reader found the end
    // of the part; a single run reads on into the next part there.
    const bool dropEnd = job.nMode == 1 && units[u].bPart && !units[u].bLastPart &&
                         states[u].outcome == UnitState::Finished;
    const ByteRange body = LogBody(start, tail, size, head, dropEnd);
    sources.push_back({path, body.first, body.last});
  }
  return WriteJoined(job.logFile, sources, head);
}

}  // namespace

ParallelCleanResult RunParallelClean(const ParallelCleanJob& job) {
  ParallelCleanResult result;
  const std::vector<WorkUnit> units = PlanUnits(job.nMode, job.inputs, job.nJobs, job.minPartBytes);
  result.nUnits = units.size();
  const std::string staging = job.folder + ".orvane-work-" + std::to_string(::getpid()) + "/";
  std::vector<UnitState> states(units.size());
  for (std::size_t u = 0; u < units.size(); ++u) {
    states[u].folder = staging + "unit-" + std::to_string(u) + "/";
    states[u].outFolder = states[u].folder + "out/";
    states[u].logPath = states[u].folder + "run.log";
  }

  ParallelProgress progress(job.nProgressStyle, job, units);
  std::atomic<std::size_t> next{0};
  auto worker = [&] {
    for (;;) {
      const std::size_t u = next.fetch_add(1);
      if (u >= units.size()) return;
      if (job.pCancel != nullptr && job.pCancel->IsSignalled()) continue;
      RunUnit(job, units[u], states[u], progress, u);
    }
  };
  {
    std::vector<std::thread> threads;
    const std::size_t n = std::min<std::size_t>(std::max(job.nJobs, 1u), units.size());
    for (std::size_t t = 0; t < n; ++t) threads.emplace_back(worker);
    for (std::thread& t : threads) t.join();
  }
  progress.Finish();
  result.nSpectra = progress.Done();
  result.errors = progress.Errors();

  // What a single run would have done: every unit up to the first that
  // didn't finish; that one with what it wrote before it stopped or failed.
  // The modern dialect goes on past an input that failed, as a single run
  // does there.
  const bool goOn = job.mgfDialect != "classic";
  std::size_t nJoined = 0;
  for (; nJoined < units.size(); ++nJoined) {
    const UnitState& s = states[nJoined];
    if (s.outcome == UnitState::NotRun) {
      result.bStopped = true;
      break;
    }
    if (s.outcome == UnitState::Failed && goOn) {
      if (result.hr == S_OK) result.hr = s.hr;
      continue;
    }
    if (s.outcome != UnitState::Finished) {
      if (s.outcome == UnitState::Stopped) result.bStopped = true;
      else result.hr = s.hr;
      ++nJoined;
      break;
    }
    if (s.hr == S_FALSE && result.hr == S_OK) result.hr = S_FALSE;
  }
  if (job.pCancel != nullptr && job.pCancel->IsSignalled()) result.bStopped = true;

  bool ok = job.nMode == 0 ? JoinDta(job, states, nJoined) : JoinMgf(job, units, states, nJoined);
  if (!job.logFile.empty()) ok &= JoinLogs(job, units, states, nJoined);
  result.bJoinFailed = !ok;

  std::error_code ec;
  fs::remove_all(staging, ec);
  return result;
}

}  // namespace orvane::app
