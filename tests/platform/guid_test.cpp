#include "platform/guid.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

TEST(Guid, ParsesAndPrintsTheRegistryForm) {
  const auto g = GUID::Parse("{97229a5c-2b05-419f-b18b-8ee7b780c371}");
  ASSERT_TRUE(g.has_value());
  EXPECT_EQ(g->Data1, 0x97229A5Cu);
  EXPECT_EQ(g->Data2, 0x2B05u);
  EXPECT_EQ(g->Data3, 0x419Fu);
  EXPECT_EQ(g->Data4[0], 0xB1);
  EXPECT_EQ(g->Data4[7], 0x71);
  EXPECT_EQ(g->ToString(), "{97229A5C-2B05-419F-B18B-8EE7B780C371}");
  // Braces are optional.
  EXPECT_EQ(GUID::Parse("97229A5C-2B05-419F-B18B-8EE7B780C371"), g);
}

TEST(Guid, RejectsMalformedText) {
  for (const char* bad : {"", "{}", "97229A5C-2B05-419F-B18B-8EE7B780C37",
                          "{97229A5C-2B05-419F-B18B-8EE7B780C371", "97229A5C2B05-419F-B18B-8EE7B780C3711",
                          "{97229A5C-2B05-419F-B18B-8EE7B780C37G}", "(97229A5C-2B05-419F-B18B-8EE7B780C371)",
                          "97229A5C-2B05-419F-B18B_8EE7B780C371"}) {
    EXPECT_FALSE(GUID::Parse(bad).has_value()) << bad;
  }
  EXPECT_THROW(GUID::FromString("nope"), std::invalid_argument);
}

TEST(Guid, EqualityAndHashFollowEveryByte) {
  GUID a = GUID::FromString("{00000000-0000-0000-C000-000000000046}");
  GUID b = a;
  EXPECT_EQ(a, b);
  EXPECT_EQ(GuidHash{}(a), GuidHash{}(b));
  b.Data4[7] ^= 1;
  EXPECT_FALSE(a == b);
}

}  // namespace
}  // namespace orvane
