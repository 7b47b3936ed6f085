#include "GetCommand.h"

#include <hastool/base/Quantities.h>

#include "EngineFlags.h"
#include "ExitCode.h"
#include "FileName.h"
#include "UrlList.h"
#include <hastool/base/ByteSource.h>
#include <hastool/base/Interrupt.h>
#include <hastool/base/ShownUrl.h>
#include <hastool/base/ToolError.h>
#include <hastool/net/ResultText.h>
#include <hastool/ui/StandardOutput.h>

#include <Hasnet/ResultCode.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLiveProgress{200};
constexpr milliseconds kPlainProgress{5000};
constexpr int kRetries = 3;
constexpr milliseconds kRetryPause{500};

constexpr char kStandardOutput[] = "-";

constexpr char kExamples[] = R"(Examples:
  hastool get http://host/video.ts
  hastool get -q -o - http://host/master.m3u8 | less
  hastool get -o part.bin --range 0-1023 http://host/video.ts
  hastool get -O segments -j 20 http://host/{1,2,3}.ts
  hastool get -c -H 'Authorization: Bearer TOKEN' http://host/film.mp4
  hastool get -O segments -i urls.txt --timeout 10
  hastool get --json http://host/a http://host/b > report.json
)";

double rateOf(uint64_t bytes, milliseconds time) {
    return time.count() == 0
               ? 0
               : static_cast<double>(bytes) * 8000 / static_cast<double>(time.count());
}

/// How a download ended that has never begun.
Outcome withoutDownload(const std::string& failure) {
    Outcome outcome;
    outcome.code = hascommon::RESULT_CANCELLED;
    outcome.failure = failure;
    return outcome;
}

std::string percentText(uint64_t received, uint64_t expected) {
    if (expected == 0)
        return "";
    const uint64_t percent = std::min<uint64_t>(100, received * 100 / expected);
    return ", " + std::to_string(percent) + " %";
}

} // namespace

GetCommand::GetCommand(CLI::App& app)
    : m_command(app.add_subcommand("get", "Download URLs into files")) {
    CLI::App& command = *m_command;
    command.add_option("URL", m_urls, "What to download");
    command
        .add_option("-i,--input-file", m_list,
                    "Read URLs from this file too, one a line; - for the standard input. Blank "
                    "lines and those that begin with # are left out")
        ->type_name("FILE");
    auto* const file =
        command
            .add_option("-o,--output", m_file, "File for a single URL; - for the standard output")
            ->type_name("FILE");
    command.add_option("-O,--output-dir", m_folder, "Folder for files named after their URLs")
        ->type_name("DIR")
        ->excludes(file);
    auto* const range =
        command.add_option("--range", m_range, "Only the bytes from A to B, or from A on")
            ->type_name("A-B");
    command
        .add_flag("-c,--continue", m_continue,
                  "Go on with FILE.part where an earlier run was cut short, if the server says "
                  "that the rest belongs to it; otherwise anew")
        ->excludes(range);
    command.add_option("-j,--jobs", m_parallel, "Downloads at once")
        ->capture_default_str()
        ->check(CLI::Range(1, 20))
        ->type_name("N");
    command.add_flag("--json", m_json, "Print the results as JSON");
    command.add_flag("-q,--quiet", m_quiet, "Show no progress");
    m_engine.maxRetries = kRetries;
    m_engine.retryPause = kRetryPause;
    addEngineFlags(command, m_engine);
    command.footer(kExamples);
}

int GetCommand::run() {
    Terminal terminal(m_quiet);
    if (!readList(terminal) || !planJobs(terminal))
        return kWrongUsage;
    if (const std::string trouble = troubleOf(m_engine); !trouble.empty())
        terminal.trouble(trouble);
    {
        // Whoever reads the standard output may take as long as he likes.
        m_engine.hasThread = isToStandardOutput();
        Downloader downloader(m_engine);
        downloader.setParallel(m_parallel);
        runJobs(downloader, terminal);
    }
    terminal.clear();
    if (m_json)
        printJson();
    else if (!isToStandardOutput())
        printTable();
    return reportFailures(terminal) ? kFailed : kDone;
}

bool GetCommand::readList(Terminal& terminal) {
    if (!m_list.empty()) {
        const bool isStandardInput = m_list == kStandardOutput;
        for (std::string& url : readUrls(isStandardInput ? standardInput() : fileSource(m_list)))
            m_urls.push_back(std::move(url));
    }
    if (m_urls.empty())
        terminal.trouble(m_list.empty() ? "a URL is needed" : m_list + ": no URLs in it");
    return !m_urls.empty();
}

bool GetCommand::planJobs(Terminal& terminal) {
    if (!m_file.empty() && m_urls.size() > 1) {
        terminal.trouble("-o takes one URL; use -O for several");
        return false;
    }
    if (isToStandardOutput() && m_json) {
        terminal.trouble("--json and -o - would both be printed");
        return false;
    }
    if (isToStandardOutput() && m_continue) {
        terminal.trouble("-c needs a file, not the standard output");
        return false;
    }
    if (!m_range.empty() && !parseRange(m_range)) {
        terminal.trouble("--range: not A-B or A-: " + inQuotes(m_range));
        return false;
    }
    std::map<std::string, std::string> urlOfPath;
    for (const std::string& url : m_urls) {
        Job job;
        job.url = url;
        job.path = pathOf(url);
        const auto [other, isNew] = urlOfPath.emplace(job.path, url);
        if (!isNew) {
            terminal.trouble(url + " and " + other->second + " would both become " + job.path);
            return false;
        }
        m_jobs.push_back(std::move(job));
    }
    return true;
}

std::string GetCommand::pathOf(const std::string& url) const {
    if (!m_file.empty())
        return m_file;
    return (std::filesystem::path(m_folder) / fileNameOf(url)).string();
}

bool GetCommand::isToStandardOutput() const {
    return m_file == kStandardOutput;
}

std::unique_ptr<OutputFile> GetCommand::openOutput(const std::string& path) const {
    if (isToStandardOutput())
        return std::unique_ptr<OutputFile>(new OutputFile(OutputFile::standardOutput()));
    return std::make_unique<OutputFile>(path, OutputFile::Mode::Replace);
}

/// @throws ToolError when the only file cannot be written; one of several has just failed
void GetCommand::startJob(Downloader& downloader, Job& job) const {
    try {
        if (m_continue) {
            job.part = std::make_unique<PartFile>(job.path, job.url);
            job.id = downloader.add(job.url, *job.part);
        } else {
            job.file = openOutput(job.path);
            job.id = downloader.add({job.url, parseRange(m_range)}, *job.file);
        }
    } catch (const ToolError& error) {
        if (m_jobs.size() == 1)
            throw;
        job.outcome = withoutDownload(error.what());
    }
}

/// Starts what there is room for. Small files may come as quickly as they are asked for: what has
/// ended is closed before the next one is opened.
/// @return whether anything was started or has ended
bool GetCommand::startJobs(Downloader& downloader, Terminal& terminal) {
    const size_t before = m_started;
    while (m_started < m_jobs.size() && (isInterrupted() || downloader.hasRoom())) {
        Job& job = m_jobs[m_started++];
        if (isInterrupted())
            job.outcome = withoutDownload(resultText(hascommon::RESULT_CANCELLED, 0));
        else
            startJob(downloader, job);
        if (job.id != 0)
            m_open.push_back(&job);
        downloader.pump();
        collectEnded(downloader, terminal);
    }
    return m_started > before;
}

void GetCommand::runJobs(Downloader& downloader, Terminal& terminal) {
    if (!m_folder.empty()) {
        std::error_code error;
        std::filesystem::create_directories(m_folder, error);
        if (error)
            throw ToolError(m_folder, "cannot be made: " + error.message());
    }
    downloader.onRetry(
        [&](Downloader::Id id, const std::string& what) { tellRetry(id, what, terminal); });
    m_lastProgress = steady_clock::now();
    bool cancelled = false;
    bool isRunning = true;
    while (isRunning) {
        isRunning = downloader.pump();
        collectEnded(downloader, terminal);
        isRunning = startJobs(downloader, terminal) || isRunning;
        showProgress(downloader, terminal);
        if (isInterrupted() && !cancelled) {
            downloader.cancelAll();
            cancelled = true;
        }
        if (isRunning)
            downloader.wait(kLookInterval);
    }
}

void GetCommand::tellRetry(Downloader::Id id, const std::string& what, Terminal& terminal) const {
    for (const Job& job : m_jobs) {
        if (job.id == id)
            terminal.line(job.path + ": " + what);
    }
}

void GetCommand::collectEnded(const Downloader& downloader, Terminal& terminal) {
    const auto end = std::remove_if(m_open.begin(), m_open.end(), [&](Job* job) {
        const Outcome* const outcome = downloader.outcome(job->id);
        if (outcome != nullptr)
            collect(*outcome, *job, terminal);
        return outcome != nullptr;
    });
    m_open.erase(end, m_open.end());
}

void GetCommand::collect(const Outcome& ended, Job& job, Terminal& terminal) {
    job.outcome = ended;
    if (job.outcome->ok && job.part)
        job.part->commit();
    else if (job.outcome->ok)
        job.file->commit();
    job.file.reset();
    job.part.reset();
    const Outcome& outcome = *job.outcome;
    if (!terminal.isLive() && outcome.ok)
        terminal.line(job.path + ": " + sizeText(static_cast<double>(outcome.bytes)) + ", " +
                      rateText(rateOf(outcome.bytes - outcome.kept, outcome.time)));
}

bool GetCommand::isProgressDue(const Terminal& terminal) {
    return steady_clock::now() - m_lastProgress >=
           (terminal.isLive() ? kLiveProgress : kPlainProgress);
}

void GetCommand::showProgress(const Downloader& downloader, Terminal& terminal) {
    if (!isProgressDue(terminal))
        return;
    uint64_t received = 0;
    uint64_t expected = 0;
    bool areAllKnown = true;
    size_t done = 0;
    for (const Job& job : m_jobs) {
        const bool isStarted = job.id != 0;
        received += isStarted ? downloader.received(job.id) : 0;
        expected += isStarted ? downloader.expected(job.id) : 0;
        areAllKnown = areAllKnown && isStarted && downloader.expected(job.id) > 0;
        done += job.outcome ? 1 : 0;
    }
    const auto now = steady_clock::now();
    const auto passed = std::chrono::duration_cast<milliseconds>(now - m_lastProgress);
    const std::string text = std::to_string(done) + " of " + std::to_string(m_jobs.size()) +
                             " done, " + sizeText(static_cast<double>(received)) +
                             percentText(received, areAllKnown ? expected : 0) + ", " +
                             rateText(rateOf(received - m_lastBytes, passed));
    m_lastProgress = now;
    m_lastBytes = received;
    if (terminal.isLive())
        terminal.live(text);
    else
        terminal.line(text);
}

bool GetCommand::reportFailures(Terminal& terminal) const {
    bool failed = false;
    for (const Job& job : m_jobs) {
        if (job.outcome->ok)
            continue;
        failed = true;
        terminal.trouble(job.url + ": " + job.outcome->failure);
    }
    return failed;
}

void GetCommand::printTable() const {
    constexpr size_t kNumber = 12;
    constexpr size_t kSmall = 8;
    print("  code  status       bytes        rate  first byte  redirects  retries  file\n");
    for (const Job& job : m_jobs) {
        const Outcome& it = *job.outcome;
        const std::string row =
            padded(std::to_string(it.code), 6, true) +
            padded(std::to_string(it.httpStatus), kSmall, true) +
            padded(std::to_string(it.bytes), kNumber, true) +
            padded(rateText(rateOf(it.bytes - it.kept, it.time)), kNumber + 2, true) +
            padded(std::to_string(it.latency.count()) + " ms", kNumber, true) +
            padded(std::to_string(it.redirects), kNumber - 1, true) +
            padded(std::to_string(it.retries), kSmall + 1, true) + "  " + job.path + "\n";
        print(row);
    }
}

void GetCommand::printJson() const {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Job& job : m_jobs) {
        const Outcome& it = *job.outcome;
        list.push_back({{"url", withoutSecrets(job.url)},
                        {"file", job.path},
                        {"ok", it.ok},
                        {"code", it.code},
                        {"status", it.httpStatus},
                        {"bytes", it.bytes},
                        {"kept_bytes", it.kept},
                        {"time_ms", it.time.count()},
                        {"rate_bps", static_cast<uint64_t>(rateOf(it.bytes - it.kept, it.time))},
                        {"first_byte_ms", it.latency.count()},
                        {"redirects", it.redirects},
                        {"retries", it.retries},
                        {"final_url", withoutSecrets(it.url)},
                        {"error", withoutSecrets(it.failure)}});
    }
    constexpr auto kReplace = nlohmann::ordered_json::error_handler_t::replace;
    print(list.dump(2, ' ', false, kReplace) + "\n");
}

} // namespace hastool
