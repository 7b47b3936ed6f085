// Manifests that a test serves and changes.
#pragma once

#include <hastool/base/ToolError.h>
#include <hastool/formats/Presentation.h>

#include <map>
#include <string>
#include <thread>

/// Documents by their URLs; a request with a range gets that part.
class Documents {
public:
    void set(const std::string& url, const std::string& text) { m_texts[url] = text; }
    void remove(const std::string& url) { m_texts.erase(url); }
    int fetches(const std::string& url) const {
        const auto found = m_fetches.find(url);
        return found == m_fetches.end() ? 0 : found->second;
    }
    hastool::FetchDocument fetcher() {
        return [this](const hastool::Resource& resource) {
            ++m_fetches[resource.url];
            const auto found = m_texts.find(resource.url);
            if (found == m_texts.end())
                throw hastool::ToolError(resource.url, "not there");
            std::string text = found->second;
            if (resource.range)
                text =
                    text.substr(static_cast<size_t>(resource.range->first),
                                static_cast<size_t>(resource.range->length.value_or(text.size())));
            return hastool::Document{text, resource.url};
        };
    }

private:
    std::map<std::string, std::string> m_texts;
    std::map<std::string, int> m_fetches;
};

/// The URL of the next piece; "wait" or "end" where there is no piece.
inline std::string nextUrl(hastool::Presentation& presentation, size_t track = 0,
                           size_t stream = 0) {
    using Kind = hastool::NextPiece::Kind;
    const hastool::NextPiece next = presentation.next(track, stream);
    if (next.kind == Kind::Wait)
        return "wait";
    return next.kind == Kind::End ? "end" : next.piece.media.resource.url;
}

/// Asks again until there is a piece, or the end.
inline hastool::NextPiece awaitPiece(hastool::Presentation& presentation, size_t track = 0,
                                     size_t stream = 0) {
    hastool::NextPiece next = presentation.next(track, stream);
    while (next.kind == hastool::NextPiece::Kind::Wait) {
        std::this_thread::sleep_for(next.wait);
        next = presentation.next(track, stream);
    }
    return next;
}
