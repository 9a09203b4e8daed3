#include "spectrum/disk_object.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "spectrum/file_path.h"

namespace orvane {
namespace {

std::string CurrentDirectory() {
  std::string buf(4096, '\0');
  while (::getcwd(buf.data(), buf.size()) == nullptr) {
    if (errno != ERANGE) return "/";
    buf.resize(buf.size() * 2);
  }
  buf.resize(std::strlen(buf.c_str()));
  return buf;
}

std::string MakeAbsolute(std::string path) {
  for (auto& c : path)
    if (c == '\\') c = '/';
  if (!path.empty() && path.back() != '/') path += '/';
  if (!path.empty() && path[0] == '/') return path;
  std::string cwd = CurrentDirectory();
  if (cwd.empty() || cwd.back() != '/') cwd += '/';
  return cwd + path;
}

}  // namespace

bool CDiskObject::CreateDirectory(const std::string& directory) {
  strErrorMessage.clear();
  if (directory.empty()) {
    strErrorMessage = "CDiskObject internal error";
    return false;
  }
  const std::string absolute = CanonicalizePath(MakeAbsolute(directory));
  std::string built = "/";
  std::size_t pos = 1;
  while (pos < absolute.size()) {
    std::size_t next = absolute.find('/', pos);
    if (next == std::string::npos) next = absolute.size();
    if (next > pos) {
      built += absolute.substr(pos, next - pos);
      struct stat st {};
      if (::stat(built.c_str(), &st) != 0) {
        if (::mkdir(built.c_str(), 0777) != 0 && errno != EEXIST) {
          strErrorMessage = std::string(std::strerror(errno)) + " " + built;
          return false;
        }
      } else if (!S_ISDIR(st.st_mode)) {
        strErrorMessage = std::string(std::strerror(ENOTDIR)) + " " + built;
        return false;
      }
      built += '/';
    }
    pos = next + 1;
  }
  return true;
}

}  // namespace orvane
