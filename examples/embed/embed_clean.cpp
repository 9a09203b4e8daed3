// A host of the Orvane component, as a desktop program embeds it: it makes
// the engine object through the class registry by its programmatic name,
// fills the parameter block, and cleans MGF files on the host's thread, showing
// the engine's messages to its window as progress; Ctrl-C sets the run's
// cancel event, and the engine stops after the spectrum in hand.
//
//   embed_clean OUTPUT_FOLDER FILE.mgf...
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>

#include "cleaning/clean_params.h"
#include "frame/interfaces.h"
#include "frame/module.h"
#include "platform/class_registry.h"
#include "platform/reporter.h"
#include "platform/text_file.h"

namespace {

orvane::CEvent g_cancel;

extern "C" void OnInterrupt(int) { g_cancel.Set(); }

// The host's window: the engine's numbered messages as a line of progress.
class ProgressWindow final : public orvane::CWnd {
 public:
  void Send(unsigned message, orvane::WPARAM wParam, orvane::LPARAM lParam) override {
    switch (message) {
      case orvane::PM_ROW_BEGIN: file_ = static_cast<unsigned>(wParam) + 1; break;
      case orvane::PM_STEP_TOTAL: total_ = static_cast<unsigned>(wParam); break;
      case orvane::PM_STEP_BEGIN:
        if (lParam != 0) path_ = reinterpret_cast<const char*>(lParam);
        break;
      case orvane::PM_STEP_DONE:
        std::fprintf(stderr, "\rfile %u, %s: spectrum %u of %u", file_, path_.c_str(),
                     static_cast<unsigned>(wParam), total_);
        break;
      case orvane::PM_ROW_DONE: std::fputc('\n', stderr); break;
      default: break;
    }
  }
  void Post(unsigned message, orvane::WPARAM, orvane::LPARAM) override {
    if (message == orvane::PM_CANCELLED) std::fprintf(stderr, "\nstopped at the host's request\n");
  }

 private:
  unsigned file_ = 0;
  unsigned total_ = 0;
  std::string path_;
};

// The engine's message boxes, as the host shows them.
class Boxes final : public orvane::IReporter {
 public:
  void Show(orvane::BoxKind kind, std::string_view text) override {
    std::fprintf(stderr, "\n[%s] %.*s\n", orvane::BoxKindName(kind), static_cast<int>(text.size()), text.data());
  }
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s OUTPUT_FOLDER FILE.mgf...\n", argv[0]);
    return 2;
  }
  // The module enters its classes in the process's registry, as a host
  // registers a component it ships.
  if (DllRegisterServer() != orvane::S_OK) return 1;
  orvane::CLSID clsid{};
  if (orvane::CLSIDFromProgID("OrvaneProject.Orvane", &clsid) != orvane::S_OK) return 1;
  orvane::ComPtr<orvane::ICleanMSMS_Files> clean;
  if (orvane::CoCreateInstance(clsid, nullptr, orvane::CLSCTX_INPROC_SERVER, orvane::IID_ICleanMSMS_Files,
                               clean.Out()) != orvane::S_OK) {
    std::fprintf(stderr, "the engine could not be made\n");
    return 1;
  }
  // Outputs as the instrument measured them: the modern dialect.
  orvane::ComPtr<orvane::IMgfDialect> dialect;
  if (clean->QueryInterface(orvane::IID_IMgfDialect, dialect.Out()) == orvane::S_OK)
    dialect->SetMgfDialect(orvane::MgfDialect::Modern);

  // The engine makes no folders: the output folder and its badspectra/.
  std::string folder = argv[1];
  if (folder.back() != '/') folder += '/';
  std::filesystem::create_directories(folder + "badspectra");
  orvane::CStdioFile log;
  if (!log.Open(folder + "embed.log", orvane::CStdioFile::modeCreate | orvane::CStdioFile::modeWrite)) return 1;

  orvane::CleanFileList files;
  files.nMode = orvane::InputKind::Mgf;
  for (int i = 2; i < argc; ++i) {
    files.lstFiles.push_back(argv[i]);
    files.lstRows.push_back(i - 2);
  }
  ProgressWindow window;
  Boxes boxes;
  orvane::SetReporter(&boxes);
  orvane::CleanParams params;
  params.pFileList = &files;
  params.strOutputFolder = folder;
  params.hProgressWnd = &window;
  params.pCancelEvent = &g_cancel;
  params.bWriteLog = true;
  params.pLogFile = &log;
  // The settings of high-resolution fragment spectra.
  params.bDeisotope = true;
  params.dDeisotopThreshold = 55.0;
  params.dDeisotopFilterWidth = 0.5;
  params.nMaxPeriodicity = 25;
  params.nMedianFilter = 3;
  params.bMergePeaks = true;
  params.dMergeSpacing = 0.3;
  params.dEquidistantStep = 0.05;
  params.dDeconvThreshold = 90.0;
  params.dNoiseThreshold = 80.0;
  params.nBandStopFrequency = 2;
  params.nSeqTagLength = 3;
  params.dMassTolerance = 0.5;
  params.nSeqLadderIntensity = 50;
  params.bExportBad = true;
  params.nBadSpectraAction = orvane::BadSpectraAction::Separate;

  std::signal(SIGINT, OnInterrupt);
  const orvane::HRESULT hr = clean->CleanFiles(&params);
  std::signal(SIGINT, SIG_DFL);
  log.Close();
  orvane::SetReporter(nullptr);
  std::fprintf(stderr, "CleanFiles: 0x%x%s\n", static_cast<unsigned>(hr), g_cancel.IsSignalled() ? " (stopped)" : "");
  return hr == orvane::S_OK || hr == orvane::S_FALSE ? 0 : 1;
}
