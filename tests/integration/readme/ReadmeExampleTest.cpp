// The example of README.md does what README.md says.
#include <support/Child.h>
#include <support/FaultOrigin.h>
#include <support/TempDir.h>

#include <gmock/gmock.h>

#include <cstdlib>

namespace {

using test::Reply;
using ::testing::HasSubstr;

TEST(ReadmeExample, DownloadsAndNamesCodesBytesAndStream) {
    const test::TempDir dir;
    test::FaultOrigin origin;
    origin.on("/a", Reply().body(test::pattern(100000)));
    origin.on("/b", Reply().body(test::pattern(50000)));
    const std::string command = "HAS_LOG=off " README_EXAMPLE " " + origin.url("/a") + " " +
                                origin.url("/b") + " " + origin.url("/missing") + " >" +
                                dir.file("out");
    ASSERT_EQ(std::system(command.c_str()), 0);
    const std::string output = test::readFile(dir.file("out"));
    EXPECT_THAT(output, HasSubstr("/a: code 0, 100000 bytes, stream 0\n"));
    EXPECT_THAT(output, HasSubstr("/b: code 0, 150000 bytes, stream 0\n"));
    EXPECT_THAT(output, HasSubstr("/missing: code -23, 150000 bytes, stream 0\n"));
}

} // namespace
