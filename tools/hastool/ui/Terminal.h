// What the user watches.
#pragma once

#include <string>

namespace hastool {

/// Progress on standard error: on a terminal one line that changes in place, elsewhere nothing but
/// whole lines. URLs are shown by withoutSecrets().
class Terminal {
public:
    /// @param quiet  show nothing but trouble
    explicit Terminal(bool quiet);
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// Whether the changing line is to be seen.
    bool isLive() const { return m_isLive; }
    /// Replaces the changing line.
    void live(const std::string& text);
    /// Prints a line that stays.
    void line(const std::string& text);
    /// Prints a line that stays, also when quiet.
    void trouble(const std::string& text);
    /// Takes the changing line away.
    void clear();

private:
    void print(const std::string& text);

    const bool m_quiet;
    const bool m_isLive;
    bool m_isShowing = false;
};

} // namespace hastool
