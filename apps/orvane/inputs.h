// The inputs of a command as a user names them: files, folders, lists of
// files and standard input, and the kind of each.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cleaning/clean_params.h"

namespace orvane::app {

// The kind of an input by its name: DTA, MGF (also .mgf.gz, and "-" for
// standard input) or raw (mzML, mzXML, also .gz); nothing for any other.
std::optional<InputKind> KindOfInput(const std::string& path);

// The files the arguments name, in order: a file as it stands; a folder as
// its DTA, MGF, mzML and mzXML files by name (hidden ones left out), with
// recursive its subfolders' too; "@FILE" as the arguments FILE lists, one a
// line (blank lines and lines starting with "#" left out); "-" as standard
// input. "" or the problem, naming the argument: a path that doesn't exist,
// a file of no known kind, a folder without inputs, standard input named
// twice.
std::string ExpandInputs(const std::vector<std::string>& args, bool recursive,
                         std::vector<std::string>& inputs);

}  // namespace orvane::app
