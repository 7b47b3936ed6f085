// The response that a reply's plan gives to one request.
#pragma once

#include <support/FaultOrigin.h>

#include <string>
#include <string_view>
#include <vector>

namespace test::detail {

/// The header and the body range of one response.
class OriginResponse {
public:
    OriginResponse(const ReplyPlan& plan, const Request& request);

    const std::string& head() const { return m_head; }
    /// How many body bytes follow.
    uint64_t length() const { return m_length; }
    bool keepsConnection() const { return m_keep; }
    /// Body bytes from `offset` on, at most `most`; valid until the next call.
    std::string_view read(uint64_t offset, size_t most);

private:
    uint64_t size() const;
    void openFile();
    void compress();
    void applyConditions(const ReplyPlan& plan, const Request& request);
    void applyRange(const std::string& range);
    void writeHead(const ReplyPlan& plan);
    void add(const ReplyPlan& plan, std::string name, const std::string& value);

    int m_status;
    std::variant<std::string, Pattern, FileBody> m_body;
    Descriptor m_file;
    uint64_t m_fileSize = 0;
    std::vector<char> m_buffer;
    std::vector<ReplyPlan::Header> m_headers;
    std::string m_head;
    uint64_t m_first = 0;
    uint64_t m_length = 0;
    bool m_keep = true;
};

} // namespace test::detail
