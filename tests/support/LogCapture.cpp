#include <support/LogCapture.h>

#include <Hascommon/Linux/Dlog.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

namespace test {
namespace {

struct Store {
    std::mutex mutex;
    bool active = false;
    std::vector<LogLine> lines;
    std::function<void(const LogLine&)> hook;
};

Store& store() {
    static Store* const instance = new Store;
    return *instance;
}

std::string format(const char* text, va_list args) {
    va_list again;
    va_copy(again, args);
    const int length = vsnprintf(nullptr, 0, text, again);
    va_end(again);
    std::string result(static_cast<size_t>(length) + 1, '\0');
    vsnprintf(result.data(), result.size(), text, args);
    result.pop_back();
    return result;
}

/// Splits "file: function(line) > message".
void splitPrefix(LogLine& line) {
    const size_t colon = line.text.find(": ");
    const size_t open = line.text.find('(', colon);
    const size_t close = line.text.find(") > ", open);
    if (colon == std::string::npos || open == std::string::npos || close == std::string::npos) {
        line.message = line.text;
        return;
    }
    line.file = line.text.substr(0, colon);
    line.function = line.text.substr(colon + 2, open - colon - 2);
    line.line = atoi(line.text.c_str() + open + 1);
    line.message = line.text.substr(close + 4);
}

} // namespace

LogCapture::LogCapture() {
    const std::lock_guard<std::mutex> lock(store().mutex);
    store().lines.clear();
    store().active = true;
}

LogCapture::~LogCapture() {
    const std::lock_guard<std::mutex> lock(store().mutex);
    store().active = false;
    store().lines.clear();
    store().hook = nullptr;
}

std::vector<LogLine> LogCapture::lines() const {
    const std::lock_guard<std::mutex> lock(store().mutex);
    return store().lines;
}

std::vector<std::string> LogCapture::messages(const std::string& file) const {
    std::vector<std::string> result;
    for (const LogLine& line : lines()) {
        if (file.empty() || line.file == file)
            result.push_back(line.message);
    }
    return result;
}

int LogCapture::count(const std::string& message) const {
    int found = 0;
    for (const LogLine& line : lines())
        found += line.message == message ? 1 : 0;
    return found;
}

LogLine LogCapture::find(const std::string& message) const {
    for (const LogLine& line : lines()) {
        if (line.message == message)
            return line;
    }
    return {};
}

void LogCapture::clear() {
    const std::lock_guard<std::mutex> lock(store().mutex);
    store().lines.clear();
}

void LogCapture::onLine(std::function<void(const LogLine&)> hook) {
    const std::lock_guard<std::mutex> lock(store().mutex);
    store().hook = std::move(hook);
}

} // namespace test

extern "C" int __dlog_print(int logId, int priority, const char* tag, const char* format, ...) {
    using test::store;
    {
        const std::lock_guard<std::mutex> lock(store().mutex);
        if (!store().active)
            return 0;
    }
    test::LogLine line;
    line.logId = logId;
    line.priority = priority;
    line.tag = tag;
    line.format = format;
    va_list args;
    va_start(args, format);
    line.text = test::format(format, args);
    va_end(args);
    test::splitPrefix(line);
    std::function<void(const test::LogLine&)> hook;
    {
        const std::lock_guard<std::mutex> lock(store().mutex);
        if (store().active)
            store().lines.push_back(line);
        hook = store().hook;
    }
    if (hook)
        hook(line);
    return static_cast<int>(line.text.size());
}
