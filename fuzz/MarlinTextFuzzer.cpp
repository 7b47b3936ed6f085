// The text that begins a Marlin content: the handler must answer as a plain reading of it says.
#include <Hasutil/DashMarlinCencDRMHandler.h>
#include <Input.h>

using fuzz::require;

namespace {

/// Reads a text independently, and says what a handler should answer to it.
class Model {
public:
    int start(const std::string& text) {
        m_error = -51;
        size_t at = 0;
        while (at < text.size() && text.compare(at, 5, "TYPE=") != 0)
            ++at;
        if (at == text.size())
            return 0;
        std::string type;
        for (at += 5; at < text.size() && text[at] != '|'; ++at)
            type += text[at];
        if (!type.empty() && type != "MARLIN-BB" && type != "MARLIN-MS3")
            return 0;
        m_error = 0;
        return 1;
    }
    int error() const { return m_error; }

private:
    int m_error = 0;
};

/// Checks that media data passes if, and only if, there is no error.
void checkData(hascommon::IDRMHandler& handler, bool passes) {
    const unsigned char in[] = {0, 0, 0, 10, 'f', 'r', 'e', 'e', 1, 2};
    unsigned char out[100];
    unsigned int size = 0;
    handler.ResetBuffer();
    require(handler.OnSegmentStart(0, 0, 0, nullptr, false) == (passes ? 1 : 0));
    require(handler.ProcessSegmentData(0, 0, in, sizeof in, out, size) == (passes ? 1 : 0));
    require(size == (passes ? sizeof in : 0));
    require(handler.OnSegmentEnd(0, 0) == (passes ? 1 : 0));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    hascommon::DashMarlinCencDRMHandler handler(CONTENT_TYPE_VIDEO, false);
    Model model;
    fuzz::Input input(data, size);
    while (!input.empty()) { // each line begins a content
        std::string text;
        for (unsigned int letter = input.byte(); letter != '\n'; letter = input.byte()) {
            text += static_cast<char>(letter);
            if (input.empty())
                break;
        }
        text.shrink_to_fit();
        require(handler.OnContentStart(&text) == model.start(text));
        require(handler.GetLastErrorCode() == model.error());
        checkData(handler, model.error() == 0);
    }
    return 0;
}
