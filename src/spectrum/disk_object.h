// Making a folder with every missing folder above it.
#pragma once

#include <string>

namespace orvane {

class CWnd;

class CDiskObject {
 public:
  // True if the folder exists at the end. An existing folder is no failure;
  // every missing level is created. After false, strErrorMessage holds the
  // system's reason, a blank and the path that failed. The current directory
  // is not changed.
  bool CreateDirectory(const std::string& directory);

  std::string strErrorMessage;
  CWnd* pFeedbackWindow = nullptr;  // not used by the engine
};

}  // namespace orvane
