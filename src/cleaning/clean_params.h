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

struct CleanFileList {
  std::int32_t nMode = 0;            // 0 DTA files, 1 MGF files, 2 raw files
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
  std::int32_t nBadSpectraAction = 0;  // 0 leave, 1 separate, 2 delete
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

// Writes "\nRuntime Parameters:\n\n" and the 19 labelled lines to pLogFile.
void DumpCleanParams(const CleanParams& params);

}  // namespace orvane
