// Paths from a user or a host: cleaned, then taken apart.
#include "spectrum/file_path.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace orvane {
namespace {

TEST(FilePath, Cleaning) {
  ::setenv("ORVANE_TEST_ROOT", "/tmp/orvane", 1);
  ::unsetenv("ORVANE_TEST_MISSING");
  const std::pair<const char*, const char*> cases[] = {
      {"  /data/run1.mgf\t", "/data/run1.mgf"}, {"\"/data/my run.mgf\" ", "/data/my run.mgf"},
      {" \" /data/x.mgf \" ", "/data/x.mgf"}, {"\"/data/x.mgf", "\"/data/x.mgf"},
      {"C:\\data\\run1.mgf", "C:/data/run1.mgf"}, {"\\\\server\\share\\a.dta", "//server/share/a.dta"},
      {"/data/sub/../run1.mgf", "/data/run1.mgf"}, {"/data/./run1.mgf", "/data/run1.mgf"},
      {"/a/b/c/../../d.dta", "/a/d.dta"}, {"/../x.dta", "/x.dta"}, {"rel/../../x.dta", "../x.dta"},
      {"/data/out/./", "/data/out/"}, {"a..b/c.dta", "a..b/c.dta"},
      {"\\\\?\\C:\\data\\x.dta", "C:/data/x.dta"}, {"\\\\?\\unc\\server\\share\\x.dta", "//server/share/x.dta"},
      {"\\\\?\\UNC\\srv\\s\\x.dta", "//srv/s/x.dta"}, {"\\\\?\\1:x", "//?/1:x"}, {"//?/ab", "//?/ab"},
      {"%ORVANE_TEST_ROOT%/a.dta", "/tmp/orvane/a.dta"}, {"%ORVANE_TEST_MISSING%/a", "%ORVANE_TEST_MISSING%/a"},
      {"100%/%ORVANE_TEST_ROOT%", "100%//tmp/orvane"}, {"a%%b", "a%%b"}};
  for (const auto& [input, cleaned] : cases) EXPECT_EQ(FilePath(input).GetString(), cleaned) << input;
}

TEST(FilePath, Parts) {
  // Path, folder with and without the root, file name, title, extension.
  const char* const cases[][6] = {
      {"/data/runs/s.1200.1200.2.dta", "/data/runs/", "data/runs/", "s.1200.1200.2.dta", "s.1200.1200.2", "dta"},
      {"noext", "", "", "noext", "noext", ""},
      {"/data/out/", "/data/out/", "data/out/", "/data/out/", "/data/out/", ""},
      {"/x.mgf", "/", "", "x.mgf", "x", "mgf"},
      {"C:\\d\\x.mgf", "C:/d/", "d/", "x.mgf", "x", "mgf"},
      {"//srv/share/d/x.mgf", "//srv/share/d/", "d/", "x.mgf", "x", "mgf"},
      {"a.b/c", "a.b/", "a.b/", "c", "c", ""},
      {"run.tar.gz", "", "", "run.tar.gz", "run.tar", "gz"}};
  for (const auto& c : cases) {
    const FilePath p(c[0]);
    EXPECT_EQ(p.GetFolder(true).GetString(), c[1]) << c[0];
    EXPECT_EQ(p.GetFolder(false).GetString(), c[2]) << c[0];
    EXPECT_EQ(p.GetFileName(), c[3]) << c[0];
    EXPECT_EQ(p.GetFileTitle(), c[4]) << c[0];
    EXPECT_EQ(p.GetExtension(), c[5]) << c[0];
  }
}

}  // namespace
}  // namespace orvane
