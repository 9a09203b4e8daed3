#include "spectrum/file_path.h"

#include <cctype>
#include <cstdlib>
#include <vector>

namespace orvane {
namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

std::string Trim(const std::string& s) {
  std::size_t b = 0, e = s.size();
  while (b < e && IsBlank(s[b])) ++b;
  while (e > b && IsBlank(s[e - 1])) --e;
  return s.substr(b, e - b);
}

bool IsAsciiLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

std::string RemoveLongPathPrefix(const std::string& s) {
  if (s.size() < 6 || s.compare(0, 4, "//?/") != 0) return s;
  if (IsAsciiLetter(s[4]) && s[5] == ':') return s.substr(4);
  if (s.size() >= 8) {
    std::string unc = s.substr(4, 4);
    for (auto& c : unc) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    if (unc == "UNC/") return "//" + s.substr(8);
  }
  return s;
}

}  // namespace

std::string ExpandEnvironmentVariables(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    if (text[i] == '%') {
      const std::size_t close = text.find('%', i + 1);
      if (close != std::string::npos && close > i + 1) {
        const std::string name = text.substr(i + 1, close - i - 1);
        if (const char* value = std::getenv(name.c_str())) {
          out += value;
          i = close + 1;
          continue;
        }
        // An unknown name stays as written, and its closing % may open the
        // next one.
        out += text.substr(i, close - i);
        i = close;
        continue;
      }
    }
    out += text[i++];
  }
  return out;
}

std::size_t RootLength(const std::string& p) {
  if (p.size() >= 2 && p[0] == '/' && p[1] == '/') {
    // "//server/share/": the root ends behind the share.
    std::size_t pos = p.find('/', 2);
    if (pos == std::string::npos) return p.size();
    pos = p.find('/', pos + 1);
    return pos == std::string::npos ? p.size() : pos + 1;
  }
  if (!p.empty() && p[0] == '/') return 1;
  if (p.size() >= 3 && IsAsciiLetter(p[0]) && p[1] == ':' && p[2] == '/') return 3;
  return 0;
}

std::string CanonicalizePath(const std::string& text) {
  const std::size_t root = RootLength(text);
  const std::string head = text.substr(0, root);
  const std::string rest = text.substr(root);
  const bool trailingSlash = !rest.empty() && rest.back() == '/';
  std::vector<std::string> parts;
  std::size_t start = 0;
  while (start <= rest.size()) {
    std::size_t end = rest.find('/', start);
    if (end == std::string::npos) end = rest.size();
    const std::string seg = rest.substr(start, end - start);
    if (seg == "." || (seg.empty() && end < rest.size())) {
      // "." and empty segments go
    } else if (seg == "..") {
      if (!parts.empty() && parts.back() != "..") {
        parts.pop_back();
      } else if (root == 0) {
        parts.push_back(seg);  // a relative path keeps the steps it cannot resolve
      }
    } else if (!seg.empty()) {
      parts.push_back(seg);
    }
    start = end + 1;
  }
  std::string out = head;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i) out += '/';
    out += parts[i];
  }
  if (trailingSlash && !parts.empty()) out += '/';
  return out;
}

FilePath::FilePath(const std::string& text) {
  std::string s = text;
  for (auto& c : s)
    if (c == '\\') c = '/';
  s = Trim(s);
  if (s.size() >= 2 && s.front() == '"' && s.back() == '"') s = s.substr(1, s.size() - 2);
  s = Trim(s);
  s = ExpandEnvironmentVariables(s);
  if (s.find("/.") != std::string::npos) s = CanonicalizePath(s);
  strPath = RemoveLongPathPrefix(s);
}

FilePath FilePath::FromClean(std::string cleaned) {
  FilePath p;
  p.strPath = std::move(cleaned);
  return p;
}

FilePath FilePath::GetFolder(bool bIncludeRoot) const {
  const std::size_t slash = strPath.find_last_of('/');
  std::string folder = slash == std::string::npos ? std::string() : strPath.substr(0, slash + 1);
  if (!bIncludeRoot) {
    const std::size_t root = RootLength(folder);
    folder = folder.substr(root < folder.size() ? root : folder.size());
  }
  return FromClean(folder);
}

std::string FilePath::GetFileName() const {
  if (!strPath.empty() && strPath.back() == '/') return strPath;
  const std::size_t slash = strPath.find_last_of('/');
  return slash == std::string::npos ? strPath : strPath.substr(slash + 1);
}

std::string FilePath::GetFileTitle() const {
  const std::string name = GetFileName();
  const std::size_t dot = name.find_last_of('.');
  return dot == std::string::npos ? name : name.substr(0, dot);
}

std::string FilePath::GetExtension() const {
  const std::string name = GetFileName();
  const std::size_t dot = name.find_last_of('.');
  return dot == std::string::npos ? std::string() : name.substr(dot + 1);
}

}  // namespace orvane
