#include "EngineFlags.h"

#include "SecondsCheck.h"
#include <hastool/base/ShownUrl.h>
#include <hastool/net/RequestHeader.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <system_error>

namespace hastool {

namespace {

constexpr double kMillisecond = 0.001;

/// Seconds on the command line, of which there has to be a thousandth.
CLI::Option* addSeconds(CLI::App& command, const char* name, std::chrono::milliseconds& limit,
                        const char* text) {
    return command
        .add_option_function<double>(
            name,
            [&limit](double seconds) {
                limit = std::chrono::milliseconds(std::llround(seconds / kMillisecond));
            },
            text)
        ->check(secondsCheck(kMillisecond))
        ->type_name("SECONDS");
}

void addLimits(CLI::App& command, TimeLimits& limits) {
    addSeconds(command, "--connect-timeout", limits.connect,
               "Give an attempt up whose connection (name look-up, TCP, TLS) takes longer");
    addSeconds(command, "--timeout", limits.idle,
               "Give a download up when no byte has come for so long: from an attempt's begin to "
               "the first byte, connection included, and between two pieces of body");
    addSeconds(command, "--max-time", limits.total,
               "Give a download up that takes longer from its begin to its end, with all its "
               "repetitions and the pauses between them");
}

void addVerbosity(CLI::App& command, EngineOptions& options) {
    command.add_flag_function(
        "-v,--verbose",
        [&options](std::int64_t count) {
            options.verbosity = count > 1 ? Verbosity::Library : Verbosity::Transfers;
        },
        "Show requests, responses and timings on standard error; -vv the library's log too");
}

} // namespace

void addEngineFlags(CLI::App& command, EngineOptions& options) {
    command
        .add_option("-H,--header", options.headers,
                    "Send this header with every request; repeatable")
        ->allow_extra_args(false)
        ->check(CLI::Validator([](const std::string& line) { return troubleOfHeader(line); }, ""))
        ->type_name("'NAME: VALUE'");
    addLimits(command, options.limits);
    addVerbosity(command, options);
    command
        .add_option("--cookie-dir", options.cookieId,
                    "Application id whose cookie files are read and kept")
        ->type_name("ID");
    command.add_option("--agent", options.agent, "User agent of the requests")->type_name("TEXT");
    command.add_option("--proxy", options.proxy, "Proxy, as in http://host:port")->type_name("URL");
    command
        .add_option("--cacert", options.caFile, "Verify servers against these certificates (PEM)")
        ->type_name("FILE")
        ->check(CLI::ExistingFile);
    command
        .add_option("--retries", options.maxRetries,
                    "How often a download is repeated after HTTP 403, 404, 500, 503, 504 or a "
                    "body cut short; each of these holds all downloads for half a second")
        ->capture_default_str()
        ->check(CLI::Range(0, 1000));
    command.add_flag_callback("--show-urls", showUrls,
                              "Show passwords and queries of URLs in messages and reports");
    command
        .add_option("--engine-info", options.engineInfo,
                    "The engine's information word; 5 requests as an HbbTV device")
        ->type_name("N");
}

std::string troubleOf(const EngineOptions& options) {
    const std::string folder = "/opt/usr/apps/" + options.cookieId + "/data/cookie";
    std::error_code error;
    if (options.cookieId.empty() || std::filesystem::is_directory(folder, error))
        return {};
    return "--cookie-dir: there is no folder " + folder + "; cookies will not be kept";
}

} // namespace hastool
