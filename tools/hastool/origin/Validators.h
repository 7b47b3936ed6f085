// What tells versions of a file apart.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

namespace hastool {

/// The validators of a file (RFC 9110, 8.8), and whether a request's conditions hold with them.
class Validators {
public:
    /// How a request goes on.
    enum class Verdict { Go, NotModified, Failed };
    /// A header of the request by its name; empty where there is none.
    using Header = std::function<std::string(const std::string& name)>;

    /// Takes them from a file. When the file is not there they stay empty, and all conditions hold.
    explicit Validators(const std::filesystem::path& file);
    /// @param modified  seconds since 1970
    Validators(std::string etag, int64_t modified);

    /// With its quotes; empty when nothing is known.
    const std::string& etag() const { return m_etag; }
    /// "Sun, 06 Nov 1994 08:49:37 GMT".
    std::string lastModified() const;

    /// Whether a GET or HEAD request is to be answered, by its If-Match, If-Unmodified-Since,
    /// If-None-Match and If-Modified-Since in the standard's order (13.2.2). A date that cannot be
    /// read counts as not given.
    Verdict judge(const Header& header) const;
    /// Whether the range of a request holds, by its If-Range (13.1.5).
    bool allowsRange(const Header& header) const;

private:
    bool isListed(const std::string& list, bool isWeak) const;

    std::string m_etag;
    int64_t m_modified = 0;
};

} // namespace hastool
