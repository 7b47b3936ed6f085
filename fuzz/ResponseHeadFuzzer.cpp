// A response's header: what is said to go on from an offset names that offset.
#include <hastool/net/ResourceState.h>

#include <Input.h>

#include <string>

using namespace hastool;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const ResponseHead head(text);
    const ResourceState state = stateOf(head);
    for (const char c : state.ifRange())
        fuzz::require(c >= ' ' && c <= '~');
    const auto range = parseContentRange(head.field("Content-Range"));
    if (range && range->first)
        fuzz::require(*range->first <= range->last &&
                      (!range->total || range->last < *range->total));
    for (const uint64_t offset : {0ULL, 1ULL, 400ULL}) {
        ResourceState known = state;
        known.total = 1000;
        if (fitOf(head, offset, known) == AnswerFit::GoesOn)
            fuzz::require(offset > 0 && head.status() == 206 && range && range->first == offset &&
                          range->last < 1000);
        if (saysComplete(head, offset, {}))
            fuzz::require(head.status() == 416 && range && range->total == offset);
    }
    return 0;
}
