// Traces, movies and lines of runs: what a simulation reads from outside.
#include <hastool/base/ToolError.h>
#include <hastool/simulate/MovieFile.h>
#include <hastool/simulate/StudyRun.h>
#include <hastool/simulate/TraceFile.h>

#include <Input.h>

#include <cmath>
#include <string>
#include <vector>

namespace {

/// A trace that is taken has time, and lets something through.
void checkTrace(const std::string& text) {
    try {
        double bits = 0;
        for (const hastool::TracePeriod& it : hastool::readTrace(text, "t")) {
            fuzz::require(it.duration.count() > 0);
            fuzz::require(it.latency.count() >= 0);
            fuzz::require(std::isfinite(it.bitsPerSecond) && it.bitsPerSecond >= 0);
            bits += it.bitsPerSecond;
        }
        fuzz::require(bits > 0);
    } catch (const hastool::ToolError& error) {
        fuzz::require(*error.what() != '\0');
    }
}

/// A movie that is taken comes back from what is written of it.
void checkMovie(const std::string& text) {
    try {
        const hastool::Movie movie = hastool::readMovie(text, "m");
        fuzz::require(!movie.bitrates.empty() && !movie.segments.empty());
        for (const hastool::Movie::Segment& it : movie.segments) {
            fuzz::require(it.duration.count() > 0);
            fuzz::require(it.bytes.size() == movie.bitrates.size());
        }
        const hastool::Movie again = hastool::readMovie(hastool::movieText(movie, "m"), "m");
        fuzz::require(again.bitrates == movie.bitrates);
        fuzz::require(again.segments.size() == movie.segments.size());
        for (size_t i = 0; i < movie.segments.size(); ++i)
            fuzz::require(again.segments[i].bytes == movie.segments[i].bytes &&
                          again.segments[i].duration == movie.segments[i].duration);
    } catch (const hastool::ToolError& error) {
        fuzz::require(*error.what() != '\0');
    }
}

/// A run that is taken is written, read and written the same.
void checkLine(const std::string& text) {
    try {
        const std::string line = hastool::toLine(hastool::parseLine(text, "l"));
        fuzz::require(hastool::toLine(hastool::parseLine(line, "l")) == line);
    } catch (const hastool::ToolError& error) {
        fuzz::require(*error.what() != '\0');
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    checkTrace(text);
    checkMovie(text);
    checkLine(text);
    return 0;
}
