// Keeping inputs safe from the outputs of a run, and output folders free of
// the leftovers of runs that were killed.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "cleaning/clean_params.h"

namespace orvane::app {

// Where a command writes, as -o names it: standard output ("-"); a file, for
// a path ending in .mgf, .mgf.gz or .dta that is no folder; else a folder
// (path ending in "/", made when missing).
struct OutputTarget {
  enum Kind { Folder, File, Standard } kind = Folder;
  std::string path;
};
OutputTarget ParseOutput(const std::string& output);
// Whether a path ends in ".gz" (any case).
bool IsGzipName(const std::string& path);

// True if the two paths name the same file: by device and inode when both
// exist, else by their canonical form (the folder resolved, the name as
// given), so an output that doesn't exist yet still matches.
bool SameFile(const std::string& a, const std::string& b);

// "" or why -o can't name this file: a .gz file is the compressed output,
// --gzip is for folders.
std::string CheckGzipName(const OutputTarget& target, bool gzip);

// The outputs a command will write, checked before any work: no file written
// by two inputs, none over an input.
class OutputPlan {
 public:
  // verb: what the command does to inputs, for the message ("clean").
  explicit OutputPlan(std::string verb) : verb_(std::move(verb)) {}
  // An output that input makes: "" or, when another input makes it too, "A
  // and B would both write OUTPUT; rename one of them or ...".
  std::string Claim(const std::string& output, const std::string& input);
  // An output of the run as a whole (the log, merged outputs).
  void Add(const std::string& output) { outputs_.push_back(output); }
  // "" or "the output OUTPUT would overwrite the input INPUT; ...".
  std::string CheckOverInputs(const std::vector<std::string>& inputs) const;

 private:
  std::string verb_;
  std::vector<std::string> outputs_;
  std::map<std::string, std::string> makers_;  // canonical output -> input
};

// Whether process pid still runs.
bool ProcessRuns(int pid);

// The process id in a temporary name of ours: ".<name>.part-<pid>-<n>" files
// and ".orvane-work-<pid>" folders; -1 for any other name.
int TemporaryOwner(const std::string& fileName);

// Removes from folder the temporary files and staging folders of runs whose
// process no longer runs. Answers how many it removed.
int RemoveStaleTemporaries(const std::string& folder);

// Removes the temporary files of this process from folder and the folders in
// it: the outputs in progress when a run is stopped.
void RemoveOwnTemporaries(const std::string& folder);

}  // namespace orvane::app
