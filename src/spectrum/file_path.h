// A path from a user or a host, cleaned and taken apart.
//
// Cleaning, in order: every "\" becomes "/"; white space is trimmed at both
// ends; a pair of enclosing double quotes is removed and the text trimmed
// again; %NAME% is expanded from the environment; "." and ".." segments are
// resolved when the text holds "/."; and a long-path prefix "//?/" in front of
// a drive path or of "UNC/" is removed.
#pragma once

#include <string>

namespace orvane {

class FilePath {
 public:
  FilePath() = default;
  explicit FilePath(const std::string& text);

  // All that stands before the file name, the last "/" included. Without the
  // root ("/", "//server/share/" or "X:/") when bIncludeRoot is false.
  FilePath GetFolder(bool bIncludeRoot) const;
  // The text behind the last "/", extension included; a path ending in "/"
  // gives the whole path.
  std::string GetFileName() const;
  // The file name without its extension.
  std::string GetFileTitle() const;
  // From the last dot of the file name on, without the dot; "" if none.
  std::string GetExtension() const;
  const std::string& GetString() const { return strPath; }

 private:
  static FilePath FromClean(std::string cleaned);
  std::string strPath;
};

// The steps of the cleaning, for tests and for callers that need one of them.
std::string ExpandEnvironmentVariables(const std::string& text);
std::string CanonicalizePath(const std::string& text);
// Length of the root of a cleaned path: 1 for "/x", the "//server/share/"
// part of a UNC path, 3 for "X:/", 0 for a relative path.
std::size_t RootLength(const std::string& path);

}  // namespace orvane
