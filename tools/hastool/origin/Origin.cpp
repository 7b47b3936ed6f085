#include "Origin.h"

#include "FolderPage.h"
#include "RangeHeader.h"
#include "SegmentNumber.h"
#include <hastool/base/PercentCoding.h>

#include <cstdio>
#include <utility>

namespace hastool {
namespace {

namespace fs = std::filesystem;

/// Small, as bytes in the system's buffer still arrive when the profile stops the line. Without a
/// profile a small buffer would only slow the sender.
constexpr int kLineSendBuffer = 16384;

OriginAnswer plainAnswer(int status, const std::string& text) {
    OriginAnswer answer;
    answer.status = status;
    answer.setBody(text, "text/plain");
    return answer;
}

/// The answer to OPTIONS: a browser asks so before a page from another server may read from here.
OriginAnswer permission() {
    OriginAnswer answer;
    answer.status = 204;
    answer.headers = {{"Access-Control-Allow-Methods", "GET, HEAD"},
                      {"Access-Control-Allow-Headers", "*"}};
    return answer;
}

auto headersOf(const WebRequest& request) {
    return [&request](const std::string& name) { return request.header(name); };
}

} // namespace

Origin::Origin(OriginOptions options)
    : m_folder(std::move(options.root))
    , m_faults(options.faults)
    , m_onFault(std::move(options.onFault))
    , m_limiter(options.profile)
    , m_liveTime(options.liveTime ? options.liveTime : std::make_shared<MachineTime>())
    , m_live(options.live ? std::make_unique<LivePublisher>(m_folder, *options.live, *m_liveTime)
                          : nullptr)
    , m_server({options.port, options.profile ? kLineSendBuffer : 0},
               [this](WebConnection& connection) { serve(connection); }) {}

void Origin::stop() {
    m_limiter.stop();
    m_liveTime->stop();
    m_server.stop();
}

void Origin::serve(WebConnection& connection) {
    bool isOpen = true;
    while (isOpen) {
        const auto request = connection.read();
        if (!request)
            return;
        OriginAnswer answer = this->answer(*request);
        isOpen = send(connection, *request, answer) && request->keepsConnection;
    }
}

OriginAnswer Origin::answer(const WebRequest& request) {
    if (request.method == "OPTIONS")
        return permission();
    const std::string path = percentDecoded(request.path);
    if (request.method != "GET" && request.method != "HEAD")
        return plainAnswer(404, "no such file\n");
    const auto found = m_folder.find(path);
    const auto fault = faultOf(request, path, found);
    if (fault && m_onFault)
        m_onFault(path, *fault);
    if (fault && fault->kind == Fault::Kind::Status)
        return plainAnswer(fault->status, std::to_string(fault->status) + " on request\n");
    if (m_live) {
        if (auto live = m_live->answer(request, path, fault))
            return std::move(*live);
    }
    return found ? file(request, *found, fault) : folder(path);
}

std::optional<Fault> Origin::faultOf(const WebRequest& request, const std::string& path,
                                     const std::optional<fs::path>& file) {
    return m_faults.take(path, [&]() -> std::optional<uint64_t> {
        if (const auto number = m_live ? m_live->segmentNumber(path) : std::nullopt)
            return number;
        if (!file)
            return std::nullopt;
        const auto range = answerRange(request.header("Range"), fs::file_size(*file));
        return segmentNumber(*file, range.first);
    });
}

/// Lists a folder. Links in the page are relative to the folder's path, which therefore has to end
/// with a slash.
OriginAnswer Origin::folder(const std::string& path) const {
    const auto folder = m_folder.findFolder(path);
    if (!folder)
        return plainAnswer(404, "no such file\n");
    OriginAnswer answer;
    if (path.back() != '/') {
        answer.status = 301;
        answer.headers.emplace_back("Location", encodedPath(path + "/"));
    } else {
        answer.setBody(folderPage(*folder, path), "text/html; charset=utf-8");
    }
    return answer;
}

/// Adds the file's validators to the answer. @return whether the request's conditions hold, so that
/// the file is sent
bool Origin::judge(const WebRequest& request, const Validators& validators, OriginAnswer& answer) {
    if (validators.etag().empty())
        return true;
    answer.headers.emplace_back("ETag", validators.etag());
    answer.headers.emplace_back("Last-Modified", validators.lastModified());
    const auto verdict = validators.judge(headersOf(request));
    if (verdict == Validators::Verdict::Go)
        return true;
    answer.status = verdict == Validators::Verdict::NotModified ? 304 : 412;
    return false;
}

OriginAnswer Origin::file(const WebRequest& request, const fs::path& file,
                          const std::optional<Fault>& fault) {
    OriginAnswer answer;
    const Validators validators(file);
    if (!judge(request, validators, answer))
        return answer;
    const uint64_t size = fs::file_size(file);
    const bool isRange = validators.allowsRange(headersOf(request));
    const RangeAnswer range = answerRange(isRange ? request.header("Range") : "", size);
    answer.headers.emplace_back("Content-Type", contentType(file));
    answer.length = range.length;
    if (range.kind == RangeAnswer::Kind::Unsatisfiable) {
        answer.status = 416;
        answer.headers.emplace_back("Content-Range", "bytes */" + std::to_string(size));
    } else if (range.kind == RangeAnswer::Kind::Part) {
        answer.status = 206;
        answer.headers.emplace_back("Content-Range",
                                    "bytes " + std::to_string(range.first) + "-" +
                                        std::to_string(range.first + range.length - 1) + "/" +
                                        std::to_string(size));
    }
    if (range.length > 0)
        answer.file.emplace(file, range.first, range.length, fault, m_limiter);
    return answer;
}

/// @return whether the connection can be used for another request
bool Origin::send(WebConnection& connection, const WebRequest& request, OriginAnswer& answer) {
    if (!m_limiter.beginAnswer() || !sendAtRate(connection, answer.head(request)))
        return false;
    if (request.method == "HEAD")
        return true;
    if (answer.paced)
        return sendPaced(connection, answer);
    if (!answer.file)
        return sendAtRate(connection, answer.body);
    uint64_t sent = 0;
    while (sent < answer.length) {
        const std::string_view piece = answer.file->read(sent);
        if (piece.empty()) {
            if (answer.file->isReset())
                connection.reset();
            return false;
        }
        if (!sendAtRate(connection, piece))
            return false;
        sent += piece.size();
    }
    return true;
}

/// @return whether the connection can be used for another request
bool Origin::sendPaced(WebConnection& connection, OriginAnswer& answer) {
    constexpr std::string_view kEnd = "0\r\n\r\n";
    ChunkedSegment& body = *answer.paced;
    const bool isChunked = answer.isChunked();
    for (std::string_view bytes = body.next(); !bytes.empty(); bytes = body.next()) {
        char head[24] = "";
        std::snprintf(head, sizeof head, "%zx\r\n", bytes.size());
        if (isChunked && !connection.send(head, true))
            return false;
        if (!sendAtRate(connection, bytes) || (isChunked && !connection.send("\r\n")))
            return false;
    }
    if (body.isReset())
        connection.reset();
    if (!body.isWhole())
        return false;
    return !isChunked || connection.send(kEnd);
}

bool Origin::sendAtRate(WebConnection& connection, std::string_view bytes) {
    while (!bytes.empty()) {
        const std::string_view piece = bytes.substr(0, m_limiter.pieceSize());
        if (!m_limiter.pass(piece.size()) || !connection.send(piece))
            return false;
        bytes.remove_prefix(piece.size());
    }
    return true;
}

std::string Origin::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port()) + encodedPath(path);
}

std::vector<std::string> Origin::presentations() const {
    std::vector<std::string> urls;
    for (const std::string& path : m_live ? m_live->presentations() : m_folder.presentations())
        urls.push_back(url(path));
    return urls;
}

std::vector<std::string> Origin::problems() const {
    return m_live ? m_live->problems() : std::vector<std::string>();
}

} // namespace hastool
