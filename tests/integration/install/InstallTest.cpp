// What an embedder finds after `cmake --install`.
#include <support/Child.h>
#include <support/FaultOrigin.h>
#include <support/Pattern.h>

#include <filesystem>
#include <iterator>
#include <set>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test::runOk;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr auto kBuildTime = 100s;
const fs::path kSource = SOURCE_DIR;

/// The text's words, for a command line.
std::vector<std::string> words(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

/// An installed tree that was moved after its installation: nothing in it may know where it was.
class InstallTest : public ::testing::Test {
protected:
    InstallTest() {
        runOk({CMAKE_COMMAND, "--install", BUILD_DIR, "--prefix", dir.file("first")});
        fs::create_directory(prefix.parent_path());
        fs::rename(dir.file("first"), prefix);
        for (int stream = 0; stream < 3; ++stream)
            origin.onPrefix("/" + std::to_string(stream) + "/",
                            [](const test::Request&) { return test::Reply().body(kBody); });
        origin.limitRate(800000);
    }

    fs::path library() const { return prefix / LIBRARY_DIR; }

    /// Lets the example download from the origin: it starts at the lowest stream and goes up.
    void runExample(const std::string& program) {
        const test::Child::Result result =
            test::run({program, origin.url("/"), "24"}, {"LD_LIBRARY_PATH=" + library().string()},
                      kBuildTime);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out.size(), 24 * kBody.size());
        EXPECT_THAT(result.err, HasSubstr("0/0: code 0"));
        EXPECT_THAT(result.err, HasSubstr("\n2/"));
    }

    inline static const std::string kBody = test::Pattern(100000).all();
    test::TempDir dir;
    const fs::path prefix = dir.path() / "moved" / "here";
    test::FaultOrigin origin;
};

std::set<std::string> headersBelow(const fs::path& folder) {
    std::set<std::string> result;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
        const std::string name = entry.path().lexically_relative(folder).string();
        if (entry.path().extension() == ".h" && name.find("detail/") == std::string::npos)
            result.insert(name);
    }
    return result;
}

TEST_F(InstallTest, HoldsEveryPublicHeaderAndNoOther) {
    const fs::path headers = prefix / INCLUDE_DIR / "reinokeitro";
    EXPECT_EQ(headersBelow(headers), headersBelow(kSource / "Src"));
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(headers)) {
        EXPECT_NE(entry.path().filename(), "detail");
        EXPECT_TRUE(entry.is_directory() || entry.path().extension() == ".h") << entry;
    }
}

TEST_F(InstallTest, UmbrellaHeaderIncludesEveryOther) {
    const std::string umbrella = test::readFile(kSource / "Src" / "reinokeitro.h");
    for (const std::string& name : headersBelow(kSource / "Src")) {
        if (name == "reinokeitro.h")
            continue;
        EXPECT_THAT(umbrella, HasSubstr("#include <" + name + ">\n"));
    }
}

TEST_F(InstallTest, NoPublicHeaderNeedsAPrivateOne) {
    for (const std::string& name : headersBelow(prefix / INCLUDE_DIR / "reinokeitro"))
        EXPECT_THAT(test::readFile(prefix / INCLUDE_DIR / "reinokeitro" / name),
                    Not(HasSubstr("detail/")))
            << name;
}

TEST_F(InstallTest, PackageFilesHoldNoAbsolutePath) {
    int files = 0;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(library())) {
        const fs::path extension = entry.path().extension();
        if (extension != ".cmake" && extension != ".pc")
            continue;
        ++files;
        const std::string text = test::readFile(entry.path());
        EXPECT_THAT(text, Not(HasSubstr(dir.path().string()))) << entry;
        EXPECT_THAT(text, Not(HasSubstr(kSource.string()))) << entry;
    }
    EXPECT_EQ(files, 5);
}

TEST_F(InstallTest, LibraryCarriesItsVersion) {
    EXPECT_EQ(fs::read_symlink(library() / "libreinokeitro.so"), "libreinokeitro.so.1");
    EXPECT_EQ(fs::read_symlink(library() / "libreinokeitro.so.1"),
              "libreinokeitro.so." PROJECT_VERSION);
    EXPECT_THAT(runOk({"readelf", "-d", (library() / "libreinokeitro.so").string()}),
                HasSubstr("Library soname: [libreinokeitro.so.1]"));
}

TEST_F(InstallTest, ToolFindsTheLibraryBesideIt) {
    EXPECT_THAT(runOk({(prefix / BIN_DIR / "hastool").string(), "--help"}), HasSubstr("hastool"));
}

TEST_F(InstallTest, ExampleBuildsWithFindPackageAndRuns) {
    const std::string build = dir.file("build");
    runOk({CMAKE_COMMAND, "-G", "Ninja", "-S", (kSource / "examples/embed").string(), "-B", build,
           "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_COMPILER=" CXX_COMPILER,
           "-DCMAKE_CXX_FLAGS=" CXX_FLAGS " -Wall -Wextra -Werror",
           "-DCMAKE_PREFIX_PATH=" + prefix.string()},
          kBuildTime);
    runOk({CMAKE_COMMAND, "--build", build}, kBuildTime);
    runExample(build + "/embed");
}

TEST_F(InstallTest, ExampleBuildsWithPkgConfigAndRuns) {
    const std::string setting = "PKG_CONFIG_PATH=" + (library() / "pkgconfig").string();
    const std::string version =
        runOk({"env", setting, "pkg-config", "--modversion", "reinokeitro"});
    EXPECT_EQ(version, PROJECT_VERSION "\n");
    std::vector<std::string> command = {CXX_COMPILER, "-std=c++17", "-Wall", "-Wextra", "-Werror"};
    for (const std::string& flag : words(CXX_FLAGS))
        command.push_back(flag);
    command.push_back((kSource / "examples/embed/main.cpp").string());
    const std::string flags =
        runOk({"env", setting, "pkg-config", "--cflags", "--libs", "reinokeitro"});
    for (const std::string& flag : words(flags))
        command.push_back(flag);
    command.insert(command.end(), {"-o", dir.file("embed")});
    runOk(command, kBuildTime);
    runExample(dir.file("embed"));
}

} // namespace
