#include "spectrum/file_path.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace orvane {
namespace {

struct PathCase {
  const char* input;
  const char* cleaned;
};

class FilePathCleaning : public testing::TestWithParam<PathCase> {};

TEST_P(FilePathCleaning, CleansAsAUserExpects) {
  EXPECT_EQ(FilePath(GetParam().input).GetString(), GetParam().cleaned);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FilePathCleaning,
    testing::Values(
        PathCase{"/data/run1.mgf", "/data/run1.mgf"},
        PathCase{"  /data/run1.mgf\t", "/data/run1.mgf"},
        PathCase{"\"/data/my run.mgf\" ", "/data/my run.mgf"},
        PathCase{" \" /data/x.mgf \" ", "/data/x.mgf"},
        // A quote on one side only stays.
        PathCase{"\"/data/x.mgf", "\"/data/x.mgf"},
        // Backslashes of Windows-style input become slashes first.
        PathCase{"C:\\data\\run1.mgf", "C:/data/run1.mgf"},
        PathCase{"\\\\server\\share\\a.dta", "//server/share/a.dta"},
        // Parent and current steps are resolved when the text holds "/.".
        PathCase{"/data/sub/../run1.mgf", "/data/run1.mgf"},
        PathCase{"/data/./run1.mgf", "/data/run1.mgf"},
        PathCase{"/a/b/c/../../d.dta", "/a/d.dta"},
        PathCase{"/../x.dta", "/x.dta"},
        PathCase{"rel/../../x.dta", "../x.dta"},
        PathCase{"/data/out/./", "/data/out/"},
        // A dot in a file name alone is no reason to canonicalize.
        PathCase{"a..b/c.dta", "a..b/c.dta"},
        // Long-path prefixes.
        PathCase{"\\\\?\\C:\\data\\x.dta", "C:/data/x.dta"},
        PathCase{"\\\\?\\unc\\server\\share\\x.dta", "//server/share/x.dta"},
        PathCase{"\\\\?\\UNC\\srv\\s\\x.dta", "//srv/s/x.dta"},
        PathCase{"\\\\?\\1:x", "//?/1:x"},
        PathCase{"//?/ab", "//?/ab"}));

TEST(FilePath, ExpandsEnvironmentVariables) {
  ::setenv("ORVANE_TEST_ROOT", "/tmp/orvane", 1);
  ::unsetenv("ORVANE_TEST_MISSING");
  EXPECT_EQ(FilePath("%ORVANE_TEST_ROOT%/a.dta").GetString(), "/tmp/orvane/a.dta");
  EXPECT_EQ(FilePath("%ORVANE_TEST_MISSING%/a.dta").GetString(), "%ORVANE_TEST_MISSING%/a.dta");
  EXPECT_EQ(FilePath("100%/%ORVANE_TEST_ROOT%").GetString(), "100%//tmp/orvane");
  EXPECT_EQ(FilePath("a%%b").GetString(), "a%%b");
}

TEST(FilePath, TakesThePathApart) {
  const FilePath p("/data/runs/sample.1200.1200.2.dta");
  EXPECT_EQ(p.GetFolder(true).GetString(), "/data/runs/");
  EXPECT_EQ(p.GetFolder(false).GetString(), "data/runs/");
  EXPECT_EQ(p.GetFileName(), "sample.1200.1200.2.dta");
  EXPECT_EQ(p.GetFileTitle(), "sample.1200.1200.2");
  EXPECT_EQ(p.GetExtension(), "dta");
}

TEST(FilePath, EdgesOfTakingApart) {
  EXPECT_EQ(FilePath("noext").GetExtension(), "");
  EXPECT_EQ(FilePath("noext").GetFileTitle(), "noext");
  EXPECT_EQ(FilePath("noext").GetFolder(true).GetString(), "");
  EXPECT_EQ(FilePath("/data/out/").GetFileName(), "/data/out/");
  EXPECT_EQ(FilePath("/x.mgf").GetFolder(true).GetString(), "/");
  EXPECT_EQ(FilePath("/x.mgf").GetFolder(false).GetString(), "");
  EXPECT_EQ(FilePath("C:\\d\\x.mgf").GetFolder(false).GetString(), "d/");
  EXPECT_EQ(FilePath("//srv/share/d/x.mgf").GetFolder(false).GetString(), "d/");
  EXPECT_EQ(FilePath("a.b/c").GetExtension(), "");
  EXPECT_EQ(FilePath("run.tar.gz").GetFileTitle(), "run.tar");
}

}  // namespace
}  // namespace orvane
