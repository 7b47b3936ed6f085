#include <support/detail/OriginResponse.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <stdexcept>

#include <curl/curl.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <zlib.h>

#include <strings.h>

namespace test::detail {
namespace {

constexpr size_t kFilePiece = 262144;

bool hasNoBody(int status) {
    return status == 204 || status == 304;
}

std::string httpDate(time_t when) {
    tm parts{};
    gmtime_r(&when, &parts);
    char text[64];
    return {text, strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &parts)};
}

std::string gzipped(const std::string& plain) {
    z_stream stream{};
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, MAX_WBITS + 16, 8,
                     Z_DEFAULT_STRATEGY) != Z_OK)
        throw std::runtime_error("deflateInit2 failed");
    std::string result(deflateBound(&stream, static_cast<uLong>(plain.size())) + 32, '\0');
    std::string input = plain;
    stream.next_in = reinterpret_cast<Bytef*>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    stream.next_out = reinterpret_cast<Bytef*>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    deflate(&stream, Z_FINISH);
    result.resize(stream.total_out);
    deflateEnd(&stream);
    return result;
}

} // namespace

OriginResponse::OriginResponse(const ReplyPlan& plan, const Request& request)
    : m_status(plan.status)
    , m_body(plan.body)
    , m_headers(plan.headers)
    , m_keep(!plan.close && request.header("Connection") != "close") {
    if (std::holds_alternative<FileBody>(m_body))
        openFile();
    if (plan.gzip && request.header("Accept-Encoding").find("gzip") != std::string::npos)
        compress();
    m_length = size();
    applyConditions(plan, request);
    if (hasNoBody(m_status))
        m_length = 0;
    writeHead(plan);
    if (request.method == "HEAD")
        m_length = 0;
}

uint64_t OriginResponse::size() const {
    if (const auto* text = std::get_if<std::string>(&m_body))
        return text->size();
    if (const auto* body = std::get_if<Pattern>(&m_body))
        return body->size();
    return m_fileSize;
}

void OriginResponse::openFile() {
    m_file.reset(open(std::get<FileBody>(m_body).path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (!m_file || fstat(m_file.get(), &status) != 0) {
        m_status = 404;
        m_body = std::string();
        return;
    }
    m_fileSize = static_cast<uint64_t>(status.st_size);
    m_buffer.resize(kFilePiece);
}

void OriginResponse::compress() {
    std::string plain;
    const uint64_t total = size();
    while (plain.size() < total)
        plain += read(plain.size(), kFilePiece);
    m_body = gzipped(plain);
    m_headers.emplace_back("Content-Encoding", "gzip");
}

void OriginResponse::applyConditions(const ReplyPlan& plan, const Request& request) {
    if (plan.lastModified != 0) {
        m_headers.emplace_back("Last-Modified", httpDate(plan.lastModified));
        const std::string since = request.header("If-Modified-Since");
        if (!since.empty() && curl_getdate(since.c_str(), nullptr) >= plan.lastModified)
            m_status = 304;
    }
    if (m_status == 200 && plan.ranges)
        applyRange(request.header("Range"));
}

/// One range, "bytes=A-B", "bytes=A-" or "bytes=-N".
void OriginResponse::applyRange(const std::string& range) {
    if (range.compare(0, 6, "bytes=") != 0)
        return;
    const uint64_t total = m_length;
    char* dash = nullptr;
    uint64_t first = strtoull(range.c_str() + 6, &dash, 10);
    uint64_t last = total - 1;
    if (range[6] == '-') {
        const uint64_t tail = strtoull(range.c_str() + 7, nullptr, 10);
        first = total - std::min(total, tail);
    } else if (*dash == '-' && dash[1] != '\0') {
        last = std::min<uint64_t>(last, strtoull(dash + 1, nullptr, 10));
    }
    if (first >= total || first > last) {
        m_status = 416;
        m_length = 0;
        m_headers.emplace_back("Content-Range", "bytes */" + std::to_string(total));
        return;
    }
    m_status = 206;
    m_first = first;
    m_length = last - first + 1;
    m_headers.emplace_back("Content-Range", "bytes " + std::to_string(first) + "-" +
                                                std::to_string(last) + "/" + std::to_string(total));
}

void OriginResponse::writeHead(const ReplyPlan& plan) {
    m_head = "HTTP/1.1 " + std::to_string(m_status) + " Scripted\r\n";
    const bool ownDate = std::none_of(m_headers.begin(), m_headers.end(), [](const auto& header) {
        return strcasecmp(header.first.c_str(), "Date") == 0;
    });
    if (ownDate)
        add(plan, "Date", httpDate(time(nullptr)));
    for (const auto& [name, value] : m_headers)
        add(plan, name, value);
    if (plan.ranges && m_status < 300)
        add(plan, "Accept-Ranges", "bytes");
    if (!m_keep)
        add(plan, "Connection", "close");
    if (plan.chunk > 0)
        add(plan, "Transfer-Encoding", "chunked");
    else if (!plan.untilClose && !hasNoBody(m_status))
        add(plan, "Content-Length", std::to_string(plan.claims ? plan.claimedLength : m_length));
    m_head += "\r\n";
}

void OriginResponse::add(const ReplyPlan& plan, std::string name, const std::string& value) {
    if (plan.lowerCase) {
        for (char& letter : name)
            letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    m_head += name + ": " + value + "\r\n";
}

std::string_view OriginResponse::read(uint64_t offset, size_t most) {
    offset += m_first;
    if (const auto* body = std::get_if<Pattern>(&m_body))
        return body->slice(offset, most);
    if (const auto* text = std::get_if<std::string>(&m_body))
        return std::string_view(*text).substr(static_cast<size_t>(offset), most);
    const ssize_t got = pread(m_file.get(), m_buffer.data(), std::min(most, m_buffer.size()),
                              static_cast<off_t>(offset));
    if (got <= 0)
        throw std::runtime_error("a served file became shorter");
    return {m_buffer.data(), static_cast<size_t>(got)};
}

} // namespace test::detail
