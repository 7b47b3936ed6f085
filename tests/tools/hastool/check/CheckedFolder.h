// A presentation in memory that a test breaks before it is checked.
#pragma once

#include <hastool/check/CheckSource.h>
#include <hastool/check/Gatherer.h>
#include <hastool/check/Rule.h>

#include <chrono>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

/// The files of a folder as a server of good manners has them: right content types, for everybody.
/// Time passes only while a live presentation is waited for.
class CheckedFolder : public hastool::CheckSource {
public:
    /// Where the folder's files are.
    static constexpr char kUrl[] = "http://media.test/";

    CheckedFolder() = default;
    /// @param presentation  one of the built-in ones: "hls"
    explicit CheckedFolder(const std::string& presentation);

    /// A file, to be read or changed; made when there is none.
    std::string& file(const std::string& path) { return m_files[path]; }
    bool has(const std::string& path) const { return m_files.count(path) > 0; }
    void remove(const std::string& path) { m_files.erase(path); }
    /// Replaces the first place of a text in a file; a text that is not there fails the test.
    void replace(const std::string& path, const std::string& from, const std::string& to);
    /// The same for every place of the text.
    void replaceAll(const std::string& path, const std::string& from, const std::string& to);
    /// The paths that begin and end so, in order.
    std::vector<std::string> paths(const std::string& begin, const std::string& end = {}) const;

    /// Changes a response's header; an empty value takes the field away.
    void setHeader(const std::string& path, const std::string& name, const std::string& value);
    /// The status of a response; above 399 the resource cannot be had.
    void setStatus(const std::string& path, long status) { m_status[path] = status; }
    /// Says what a response came through.
    void setRedirects(const std::string& path, long count, const std::string& finalUrl = {});
    /// Is called before each fetch with the seconds since the begin: a live presentation changes
    /// its files here.
    void onFetch(std::function<void(const std::string& path, double time)> hook) {
        m_hook = std::move(hook);
    }

    /// Looks at all of the presentation. A URL is taken as it is, a path as one of the folder.
    hastool::Evidence gather(const std::string& manifest, hastool::CheckOptions options = {});
    hastool::Findings check(const std::string& manifest, const hastool::CheckOptions& options = {});
    /// The codes of all errors and warnings.
    std::set<std::string> codes(const std::string& manifest,
                                const hastool::CheckOptions& options = {});

    double time() const { return m_time; }

    void expect(const std::vector<hastool::Resource>&) override {}
    Fetched fetch(const hastool::Resource& resource) override;
    std::string troubleNow() const override { return {}; }

private:
    hastool::ResponseHead headOf(const std::string& path, long status) const;

    std::map<std::string, std::string> m_files;
    std::map<std::string, std::map<std::string, std::string>> m_headers;
    std::map<std::string, long> m_status;
    std::map<std::string, std::pair<long, std::string>> m_redirects;
    std::function<void(const std::string&, double)> m_hook;
    double m_time = 0;
};

/// What is found, a line each, for messages.
std::string linesOf(const hastool::Findings& findings);
/// The codes of those that are at least so severe.
std::set<std::string> codesOf(const hastool::Findings& findings,
                              hastool::Severity least = hastool::Severity::Warning);
