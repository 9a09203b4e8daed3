// What the raw conversion tests share: an engine object, options that let
// everything through, and short builders of scripted scans.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/interfaces.h"
#include "frame/module.h"
#include "platform/class_registry.h"
#include "platform/format.h"
#include "raw/raw_options.h"
#include "raw/scan_access.h"
#include "raw/scan_walk.h"
#include "support/scripted_reader.h"
#include "support/test_support.h"

namespace orvane::rawtest {

using test::MakeScan;
using test::MakeSurveyScan;
using test::ScriptedFile;
using test::ScriptedReader;
using test::ScriptedScan;
using Op = ScriptedReader::Op;

inline ComPtr<IConvertMSMS> MakeConverter() {
  RegisterOrvaneModule();
  IConvertMSMS* p = nullptr;
  EXPECT_EQ(CoCreateInstance(CLSID_Orvane, nullptr, CLSCTX_INPROC_SERVER, IID_IConvertMSMS,
                             reinterpret_cast<void**>(&p)),
            S_OK);
  return ComPtr<IConvertMSMS>(p);
}

inline RawOptions OpenOptions() {
  RawOptions o;
  o.dMinMass = 0.0;
  o.dMaxMass = 100000.0;
  o.nMinPeaks = 1;
  o.nThresholdMode = 0;
  o.nExportOption = 2;
  return o;
}

// An MS/MS scan of the given level with a trailer precursor, and a charge
// class forced by the trailer (2) or by a spectrum that is all below the
// precursor (1).
inline ScriptedScan Scan(int nLevel, double dMz, int nClass,
                         RawPeakList peaks = {{100.0, 1000.0}, {200.5, 50.0}}) {
  std::string filter = "ITMS + c NSI d Full ms" + std::to_string(nLevel) + " ";
  // MS3 and beyond name the precursor last, so it is the last number too.
  for (int i = 2; i <= nLevel; ++i) filter += Format("%.2f@cid35.00 ", dMz);
  ScriptedScan s = MakeScan(filter + "[100.00-2000.00]", peaks);
  s.trailer[kTrailerMonoisotopicMz] = Variant::R8(dMz);
  if (nClass == 2) s.trailer[kTrailerChargeState] = Variant::I2(2);
  return s;
}

// Titles of the blocks of an MGF text, in order.
inline std::vector<std::string> Titles(const std::string& mgf) {
  std::vector<std::string> out;
  std::size_t pos = 0;
  while ((pos = mgf.find("TITLE=", pos)) != std::string::npos) {
    const std::size_t end = mgf.find('\n', pos);
    out.push_back(mgf.substr(pos + 6, end - pos - 6));
    pos = end;
  }
  return out;
}

// The wParams of one message number, in order.
inline std::vector<WPARAM> Params(const test::RecordingWindow& w, unsigned number) {
  std::vector<WPARAM> out;
  for (const auto& m : w.messages)
    if (m.number == number) out.push_back(m.wParam);
  return out;
}

}  // namespace orvane::rawtest
