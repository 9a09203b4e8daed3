// Runs the orvane executable with a command line and captures what it says.
#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "support/test_support.h"

namespace orvane::test {

struct RunResult {
  int status;       // exit status, -1 if it did not exit normally
  std::string out;  // standard output
  std::string err;  // standard error
};

inline std::string ShellQuote(const std::string& s) {
  std::string q = "'";
  for (char c : s) {
    if (c == '\'') q += "'\\''";
    else q += c;
  }
  return q + "'";
}

// args is shell text: quote paths with ShellQuote. env, if given, is put in
// front of the command ("ORVANE_X=1 ").
inline RunResult RunOrvane(const std::string& args, const std::string& env = "") {
  TempDir capture;
  const std::string command = env + ShellQuote(ORVANE_EXE) + " " + args + " >" +
                              ShellQuote(capture.File("out")) + " 2>" +
                              ShellQuote(capture.File("err")) + " </dev/null";
  const int raw = std::system(command.c_str());
  return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, ReadFile(capture.File("out")),
          ReadFile(capture.File("err"))};
}

}  // namespace orvane::test
