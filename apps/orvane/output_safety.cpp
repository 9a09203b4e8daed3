#include "output_safety.h"

#include <signal.h>
#include <unistd.h>
#include <sys/stat.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "platform/text_file.h"
#include "spectrum/file_path.h"

namespace orvane::app {

namespace fs = std::filesystem;

bool IsGzipName(const std::string& path) { return WithoutGzipSuffix(path) != path; }

OutputTarget ParseOutput(const std::string& output) {
  if (output == "-") return {OutputTarget::Standard, output};
  std::string path = output;
  for (char& c : path)
    if (c == '\\') c = '/';
  std::string ext = FilePath(WithoutGzipSuffix(path)).GetExtension();
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  std::error_code ec;
  const bool file = !path.empty() && path.back() != '/' && !fs::is_directory(path, ec) &&
                    (ext == "mgf" || (ext == "dta" && !IsGzipName(path)));
  if (file) return {OutputTarget::File, path};
  if (!path.empty() && path.back() != '/') path += '/';
  return {OutputTarget::Folder, path};
}

namespace {

// The folder resolved as far as it exists, the last part as given.
std::string Canonical(const std::string& path) {
  std::error_code ec;
  const fs::path p = fs::absolute(path, ec);
  if (ec) return path;
  const fs::path folder = fs::weakly_canonical(p.parent_path(), ec);
  if (ec) return p.lexically_normal().string();
  return (folder / p.filename()).lexically_normal().string();
}

}  // namespace

bool SameFile(const std::string& a, const std::string& b) {
  struct stat sa {};
  struct stat sb {};
  const bool ea = ::stat(a.c_str(), &sa) == 0;
  const bool eb = ::stat(b.c_str(), &sb) == 0;
  if (ea && eb) return sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
  // One side is missing: the same name in the same folder is the same file
  // once it is written. A symbolic link as the last part resolves through the
  // existing side.
  std::error_code ec;
  const std::string ca = ea ? fs::canonical(a, ec).string() : Canonical(a);
  const std::string cb = eb ? fs::canonical(b, ec).string() : Canonical(b);
  return ca == cb;
}

std::string CheckGzipName(const OutputTarget& target, bool gzip) {
  if (target.kind != OutputTarget::File || !gzip || IsGzipName(target.path)) return {};
  return "-o " + target.path + " is no .gz name: a file named .gz is compressed, --gzip is for folders";
}

std::string OutputPlan::Claim(const std::string& output, const std::string& input) {
  std::error_code ec;
  std::string key = fs::weakly_canonical(output, ec).string();
  if (ec) key = output;
  if (const auto [it, fresh] = makers_.emplace(key, input); !fresh)
    return it->second + " and " + input + " would both write " + output + "; rename one of them or " + verb_ +
           " them in runs of their own";
  outputs_.push_back(output);
  return {};
}

std::string OutputPlan::CheckOverInputs(const std::vector<std::string>& inputs) const {
  for (const std::string& output : outputs_)
    for (const std::string& input : inputs)
      if (SameFile(output, input))
        return "the output " + output + " would overwrite the input " + input +
               "; choose another output or rename the input";
  return {};
}

bool ProcessRuns(int pid) {
  if (pid <= 0) return false;
  return ::kill(pid, 0) == 0 || errno == EPERM;
}

int TemporaryOwner(const std::string& name) {
  auto digits = [](const std::string& text, std::size_t from, std::size_t* pEnd) {
    std::size_t end = from;
    while (end < text.size() && text[end] >= '0' && text[end] <= '9') ++end;
    *pEnd = end;
    if (end == from || end - from > 9) return -1;
    return std::atoi(text.substr(from, end - from).c_str());
  };
  if (name.empty() || name[0] != '.') return -1;
  static const std::string kWork = ".orvane-work-";
  std::size_t end = 0;
  if (name.compare(0, kWork.size(), kWork) == 0) {
    const int pid = digits(name, kWork.size(), &end);
    return end == name.size() ? pid : -1;
  }
  const auto mark = name.rfind(".part-");
  if (mark == std::string::npos || mark < 2) return -1;
  const int pid = digits(name, mark + 6, &end);
  if (pid < 0 || end >= name.size() || name[end] != '-') return -1;
  std::size_t tail = end + 1;
  if (tail < name.size() && name[tail] == 'j') ++tail;  // joined outputs
  std::size_t last = 0;
  if (digits(name, tail, &last) < 0 || last != name.size()) return -1;
  return pid;
}

int RemoveStaleTemporaries(const std::string& folder) {
  int removed = 0;
  std::error_code ec;
  for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
    const int pid = TemporaryOwner(it->path().filename().string());
    if (pid < 0 || ProcessRuns(pid)) continue;
    std::error_code rec;
    if (fs::remove_all(it->path(), rec) > 0) ++removed;
  }
  return removed;
}

void RemoveOwnTemporaries(const std::string& folder) {
  const int self = static_cast<int>(::getpid());
  std::error_code ec;
  std::vector<fs::path> mine;
  for (fs::recursive_directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
    if (it.depth() > 1) it.disable_recursion_pending();
    if (TemporaryOwner(it->path().filename().string()) == self) mine.push_back(it->path());
  }
  for (const fs::path& path : mine) fs::remove_all(path, ec);
}

}  // namespace orvane::app
