// Runs the orvane executable with a command line and captures what it says.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

extern char** environ;

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

// Starts orvane in the background (for stopping or killing it mid-run) with
// standard error to errFile ("/dev/null" to drop it); its pid, or -1.
inline pid_t SpawnOrvane(const std::vector<std::string>& args,
                         const std::string& errFile = "/dev/null") {
  std::vector<std::string> all = {ORVANE_EXE};
  all.insert(all.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (auto& a : all) argv.push_back(a.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 2, errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  pid_t pid = -1;
  if (posix_spawn(&pid, ORVANE_EXE, &actions, nullptr, argv.data(), environ) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

}  // namespace orvane::test
