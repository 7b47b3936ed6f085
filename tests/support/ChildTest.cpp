#include <support/Child.h>

#include <csignal>
#include <fstream>
#include <stdexcept>

#include <gtest/gtest.h>

using test::Child;

namespace {

/// Whether a process ends soon. It may stay on as a zombie, which has no command line.
bool vanishes(pid_t process) {
    const std::string path = "/proc/" + std::to_string(process) + "/cmdline";
    for (int i = 0; i < 2000; ++i) {
        if (kill(process, 0) != 0 ||
            std::ifstream(path).peek() == std::ifstream::traits_type::eof())
            return true;
        usleep(1000);
    }
    return false;
}

} // namespace

TEST(Child, GivesStatusAndBothOutputs) {
    const Child::Result result =
        test::run({"sh", "-c", "echo out; echo \"$WORD\" >&2; exit 3"}, {"WORD=said"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.out, "out\n");
    EXPECT_EQ(result.err, "said\n");
}

TEST(Child, ReportsTheSignalThatEndedIt) {
    Child child({"sleep", "60"});
    EXPECT_TRUE(child.isRunning());
    child.signal(SIGINT);
    EXPECT_EQ(child.wait().status, 128 + SIGINT);
}

TEST(Child, EndsAlsoWhatTheProgramStarted) {
    Child child({"sh", "-c", "sleep 60 & echo $!; wait"});
    while (child.out().empty())
        ASSERT_TRUE(child.isRunning());
    const pid_t grandchild = std::stoi(child.out());
    child.end();
    EXPECT_TRUE(vanishes(grandchild));
}

TEST(Child, AFailingProgramThrowsWithItsOutput) {
    try {
        test::runOk({"sh", "-c", "echo because >&2; exit 1"});
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("because"), std::string::npos);
    }
    EXPECT_THROW(test::run({"no-such-program-here"}), std::runtime_error);
}
