// The run parameters as the head of a run log prints them: selectors a host
// may set out of range print as <undefined>, a number is cut at 63 characters.
#include <gtest/gtest.h>

#include "cleaning/clean_params.h"
#include "platform/format.h"

namespace orvane {
namespace {

TEST(CleanParams, DumpedSelectorsAndNumbers) {
  const struct { int action, band; const char *actionText, *bandText; } rows[] = {
      {0, 0, "leave", "0.5"}, {2, 4, "delete", "0.9"}, {3, 5, "<undefined>", "<undefined>"}, {-1, -1, "<undefined>", "<undefined>"}};
  for (const auto& r : rows) {
    CleanParams p;
    p.nBadSpectraAction = static_cast<BadSpectraAction>(r.action);
    p.nBandStopFrequency = r.band;
    p.dMassTolerance = 1e80;
    const std::string dump = ParamsDump(p);
    EXPECT_EQ(dump.rfind("\nRuntime Parameters:\n\n", 0), 0u);
    EXPECT_NE(dump.find(std::string(" bad spectra: leave/delete/separate = ") + r.actionText + "\n"), std::string::npos) << r.action;
    EXPECT_NE(dump.find(std::string("band stop frequency = ") + r.bandText + "\n"), std::string::npos) << r.band;
    EXPECT_NE(dump.find("mass tolerance = " + Format("%.2f", 1e80).substr(0, 63) + "\n"), std::string::npos);
  }
}

}  // namespace
}  // namespace orvane
