#include "inputs.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "platform/text_file.h"
#include "readers/raw_files.h"
#include "spectrum/file_path.h"

namespace orvane::app {
namespace {

namespace fs = std::filesystem;

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// The inputs of a folder, by name; its subfolders' after its own files when
// recursive.
void AddFolder(const fs::path& folder, bool recursive, std::vector<std::string>& inputs) {
  std::vector<fs::path> files;
  std::vector<fs::path> folders;
  std::error_code ec;
  for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
    const std::string name = it->path().filename().string();
    if (name.empty() || name[0] == '.') continue;  // hidden, and the temporaries of runs
    std::error_code kindError;
    if (it->is_directory(kindError)) folders.push_back(it->path());
    else if (KindOfInput(it->path().string())) files.push_back(it->path());
  }
  std::sort(files.begin(), files.end());
  std::sort(folders.begin(), folders.end());
  for (const fs::path& file : files) inputs.push_back(file.string());
  if (recursive)
    for (const fs::path& sub : folders) AddFolder(sub, true, inputs);
}

std::string Expand(const std::string& arg, bool recursive, int depth, std::vector<std::string>& inputs,
                   bool& standardInput) {
  if (arg == "-") {
    if (standardInput) return "standard input (-) can be read once only";
    standardInput = true;
    inputs.push_back(arg);
    return {};
  }
  if (arg.size() > 1 && arg[0] == '@') {
    const std::string list = arg.substr(1);
    if (depth > 8) return list + ": lists nest too deep";
    std::ifstream in(list);
    if (!in) return "can't read the list " + list + ": " + std::strerror(errno);
    std::string line;
    for (unsigned number = 1; std::getline(in, line); ++number) {
      while (!line.empty() && (line.back() == '\r' || line.back() == ' ' || line.back() == '\t')) line.pop_back();
      const std::size_t start = line.find_first_not_of(" \t");
      if (start == std::string::npos || line[start] == '#') continue;
      if (std::string problem = Expand(line.substr(start), recursive, depth + 1, inputs, standardInput);
          !problem.empty())
        return list + ":" + std::to_string(number) + ": " + problem;
    }
    return {};
  }
  std::error_code ec;
  const fs::file_status status = fs::status(arg, ec);
  if (ec || !fs::exists(status)) return "no such input: " + arg;
  if (fs::is_directory(status)) {
    const std::size_t before = inputs.size();
    AddFolder(arg, recursive, inputs);
    if (inputs.size() == before)
      return arg + ": a folder without DTA, MGF, mzML or mzXML files" +
             (recursive ? std::string() : std::string(" (--recursive looks into its subfolders)"));
    return {};
  }
  if (!KindOfInput(arg)) return arg + ": not a DTA, MGF, mzML or mzXML file";
  inputs.push_back(arg);
  return {};
}

}  // namespace

std::optional<InputKind> KindOfInput(const std::string& path) {
  if (path == "-") return InputKind::Mgf;
  const std::string ext = Lower(FilePath(WithoutGzipSuffix(path)).GetExtension());
  if (ext == "dta" && WithoutGzipSuffix(path) == path) return InputKind::Dta;
  if (ext == "mgf") return InputKind::Mgf;
  if (IsRawInput(path)) return InputKind::Raw;
  return std::nullopt;
}

std::string ExpandInputs(const std::vector<std::string>& args, bool recursive,
                         std::vector<std::string>& inputs) {
  inputs.clear();
  bool standardInput = false;
  for (const std::string& arg : args)
    if (std::string problem = Expand(arg, recursive, 0, inputs, standardInput); !problem.empty()) return problem;
  return {};
}

}  // namespace orvane::app
