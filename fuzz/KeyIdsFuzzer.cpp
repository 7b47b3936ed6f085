// Key ids out of pssh boxes and PlayReady objects, and outside text for a terminal.
#include <hastool/info/KeyIds.h>
#include <hastool/info/ShownText.h>

#include <Input.h>

#include <string>
#include <vector>

namespace {

/// Ids out of bytes are always whole.
void checkIds(const std::vector<std::string>& ids) {
    constexpr size_t kMost = 1000;
    fuzz::require(ids.size() <= kMost);
    for (const std::string& id : ids) {
        fuzz::require(id.size() == 36);
        fuzz::require(hastool::uuidText(id) == id);
    }
}

void checkText(const std::string& text) {
    const std::string shown = hastool::shownText(text);
    for (const char letter : shown)
        fuzz::require(static_cast<unsigned char>(letter) >= 0x20 && letter != 0x7F);
    fuzz::require(hastool::shownText(shown) == shown);
    fuzz::require(hastool::shownWidth(hastool::fitted(shown, 20)) == 20);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    checkIds(hastool::keyIdsOfPssh(bytes));
    checkIds(hastool::keyIdsOfPlayReady(bytes));
    hastool::keyIdsOfList(bytes);
    checkText(bytes);
    return 0;
}
