// Keeping inputs safe from the outputs of a run, and output folders free of
// the leftovers of runs that were killed.
#pragma once

#include <string>
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

// The first output that would overwrite an input, as "OUTPUT would overwrite
// the input INPUT"; "" when there is none.
std::string FindOutputOverInput(const std::vector<std::string>& outputs,
                                const std::vector<std::string>& inputs);

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
