#include "platform/reporter.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/format.h"
#include "support/test_support.h"

namespace orvane {
namespace {

TEST(Reporter, BoxTypesAreThoseOfTheOriginalHost) {
  EXPECT_EQ(BoxType(BoxKind::Error), 0x10u);
  EXPECT_EQ(BoxType(BoxKind::Note), 0x40u);
  EXPECT_EQ(BoxType(BoxKind::Plain), 0u);
  EXPECT_EQ(BoxType(BoxKind::Stop), 0x10u);
}

TEST(Reporter, ThreadReporterSeesOnlyItsOwnThread) {
  test::RecordingReporter mine;
  ShowError("here");
  std::thread other([] {
    test::RecordingReporter theirs;
    ShowNote("there");
    EXPECT_EQ(theirs.boxes.size(), 1u);
  });
  other.join();
  ASSERT_EQ(mine.boxes.size(), 1u);
  EXPECT_EQ(mine.boxes[0].text, "here");
  EXPECT_EQ(mine.boxes[0].kind, BoxKind::Error);
}

TEST(Format, FormatsTextsOfAnyLength) {
  EXPECT_EQ(Format("0x%x", 0x8000FFFFu), "0x8000ffff");
  const std::string big = Format("%.3lf", 1e300);
  EXPECT_EQ(big.size(), 301u + 4u);
  std::string out = "a";
  AppendFormat(out, "%s-%d", std::string(400, 'b').c_str(), 7);
  EXPECT_EQ(out, "a" + std::string(400, 'b') + "-7");
}

}  // namespace
}  // namespace orvane
