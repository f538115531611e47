#include "model/utils/knFile.h"

#include <gtest/gtest.h>

TEST(KnFile, GetExtensionLooksAtTheLastComponentOnly) {
  struct Case {
    char const *name, *extension;
  };
  for (Case const& c :
       {Case{"", ""}, Case{"name", ""}, Case{"name.osb", "osb"}, Case{"x.tar.gz", "gz"}, Case{"a.b/c", ""},
        Case{"a.b/c.KDB", "KDB"}, Case{".hidden", ""}, Case{".hidden.xml", "xml"}, Case{"dir/.hidden", ""},
        Case{"name.", ""}, Case{".", ""}, Case{"..", ""}, Case{"a/..", ""}, Case{"a.osb/", ""},
        Case{"/.", ""}, Case{"a b.o s", "o s"}}) {
    EXPECT_EQ(knFile::getExtension(c.name), c.extension) << c.name;
  }
}
