#include "EngineFlags.h"

#include <hastool/base/ShownUrl.h>

#include <filesystem>
#include <system_error>

namespace hastool {

void addEngineFlags(CLI::App& command, EngineOptions& options) {
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
