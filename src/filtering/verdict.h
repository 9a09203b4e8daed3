// What the cleaning says of a spectrum. The numbers are those a host sees
// from the pipeline: below 4 good, 4 and 5 bad, 0 and below a failure that
// has been reported.
#pragma once

namespace orvane {

enum class Verdict : int {
  NoParams = -2,     // the pipeline was called without its parameters
  Failed = -1,       // a stage failed (resampling, de-isotoping, deconvolution)
  NoiseFailed = 0,   // the noise stage failed
  Cleaned = 1,       // de-isotoping off, or it removed isotope peaks
  LeftAlone = 2,     // no regular isotope spacing: the spectrum is left alone
  Bad = 4,           // the de-isotoping found a bad spectrum
  NoTag = 5,         // no sequence tag
};

// Good spectra go to the clean output; a failed one counts as good in the
// classic dialect, which writes what the pipeline left.
inline bool IsBad(Verdict v) { return static_cast<int>(v) >= 4; }
inline bool IsFailure(Verdict v) { return static_cast<int>(v) <= 0; }

}  // namespace orvane
