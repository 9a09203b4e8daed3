#include "presets.h"

#include <cstdio>

#include "commands.h"
#include "settings.h"

namespace orvane::app {

std::string ApplyPresetsFromArguments(int argc, char** argv) {
  std::string path;
  std::string preset;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--") break;
    if (arg == "--params" && i + 1 < argc) {
      path = argv[++i];
    } else if (arg.rfind("--params=", 0) == 0) {
      path = arg.substr(9);
    } else if (arg == "--preset" && i + 1 < argc) {
      preset = argv[++i];
    } else if (arg.rfind("--preset=", 0) == 0) {
      preset = arg.substr(9);
    }
  }
  Settings& settings = CommandSettings();
  if (!preset.empty()) {
    if (std::string problem = ApplyNamedPreset(preset, settings); !problem.empty()) return problem;
  }
  return path.empty() ? std::string() : LoadPresets(path, settings);
}

void AddPresetOptions(CLI::App* cmd, bool withPreset) {
  static std::string ignored;  // read before parsing, by ApplyPresetsFromArguments
  cmd->add_option("--params", ignored,
                  "Read the parameters from this TOML file first (see `orvane params`); "
                  "options given here override it")
      ->group("Presets");
  if (!withPreset) return;
  std::string list;
  std::vector<std::string> names;
  for (const auto& [name, summary] : BuiltInPresets()) {
    list += "  " + name + std::string(name.size() < 8 ? 8 - name.size() : 0, ' ') + " " + summary + "\n";
    names.push_back(name);
  }
  cmd->add_option("--preset", ignored,
                  "Start from the built-in settings for a kind of data (a --params file and "
                  "options given here override them):\n" + list)
      ->check(CLI::IsMember(names))
      ->group("Presets");
}

void AddParamsCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("params", "Print the cleaning parameters as a commented TOML presets file");
  AddPresetOptions(cmd, true);
  static bool listPresets = false;
  cmd->add_flag("--list-presets", listPresets, "List the built-in presets, one a line")->group("Presets");
  cmd->footer(
      "\nPrints every parameter of `orvane clean` and of the raw conversions with its meaning,\n"
      "unit and allowed values: the defaults, or those of --params FILE after its checks.\n"
      "\nExamples:\n"
      "  orvane params > my-lab.toml                   start a presets file from the defaults\n"
      "  orvane params --preset lowres > ion-trap.toml start one from a built-in preset\n"
      "  orvane clean --params my-lab.toml -o out/ run.mgf\n"
      "  orvane params --params my-lab.toml            check a presets file and show it whole\n");
  cmd->callback([] {
    if (listPresets) {
      for (const auto& [name, summary] : BuiltInPresets()) std::printf("%s\t%s\n", name.c_str(), summary.c_str());
      SetExitCode(0);
      return;
    }
    std::fputs(RenderPresets(CommandSettings()).c_str(), stdout);
    SetExitCode(0);
  });
}

}  // namespace orvane::app
