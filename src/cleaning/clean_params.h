// The run parameter block and the input list of a cleaning run.
#pragma once

#include <cstdint>
#include <list>
#include <string>

namespace orvane {

class CWnd;
class CEvent;
class CStdioFile;
class IRawReader;
struct RawOptions;

// What the inputs of a run are; the numbers are the host's.
enum class InputKind : std::int32_t { Dta = 0, Mgf = 1, Raw = 2 };
// What becomes of a bad spectrum when bExportBad is set.
enum class BadSpectraAction : std::int32_t {
  Leave = 0,     // to the clean output
  Separate = 1,  // to the bad output, beside it in badspectra/
  Delete = 2,    // nowhere
};

struct CleanFileList {
  InputKind nMode = InputKind::Dta;
  std::list<std::string> lstFiles;   // input paths, in working order
  std::list<std::int32_t> lstRows;   // the host's row number of each path
};

struct CleanParams {
  bool bWriteLog = false;
  bool bDeconvolute = false;
  bool bDeisotope = false;
  bool bRemoveNoise = false;
  bool bCheckSeqTags = false;
  std::int32_t nSeqTagLength = 0;
  BadSpectraAction nBadSpectraAction = BadSpectraAction::Leave;
  bool bMergeOutput = false;
  bool bSkipCleaning = false;
  CleanFileList* pFileList = nullptr;
  CWnd* hProgressWnd = nullptr;
  CEvent* pCancelEvent = nullptr;
  IRawReader* pRawReader = nullptr;
  RawOptions* pRawOptions = nullptr;
  CStdioFile* pLogFile = nullptr;
  bool bExportBad = false;
  std::string strOutputFolder;
  bool bSoftBadSpectra = false;
  double dEquidistantStep = 0.0;
  bool bMergePeaks = false;
  double dMergeSpacing = 0.0;
  std::int32_t nMedianFilter = 0;
  double dDeconvThreshold = 0.0;
  double dDeisotopFilterWidth = 0.0;
  std::int32_t nMaxPeriodicity = 0;
  double dDeisotopThreshold = 0.0;
  double dNoiseThreshold = 0.0;
  std::int32_t nBandStopFrequency = 0;
  double dMassTolerance = 0.0;
  std::int32_t nSeqLadderIntensity = 0;
  // Read in the modern dialect only: peaks below this m/z (isobaric-tag
  // reporter ions, say) pass every stage unchanged; 0 protects nothing.
  double dProtectBelowMz = 0.0;
};

// Whether bad spectra go to outputs of their own.
inline bool SeparatesBad(const CleanParams& params) {
  return params.bExportBad && params.nBadSpectraAction == BadSpectraAction::Separate;
}

// "\nRuntime Parameters:\n\n" and the 19 labelled lines of the log's head.
std::string ParamsDump(const CleanParams& params);

}  // namespace orvane
