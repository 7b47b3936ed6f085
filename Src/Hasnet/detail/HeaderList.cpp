#include <Hasnet/detail/HeaderList.h>

namespace hascommon::detail {
namespace {

/// Appends to the list, which is freed when there is no memory.
curl_slist* append(curl_slist* list, const char* line) {
    curl_slist* longer = curl_slist_append(list, line);
    if (longer == nullptr)
        curl_slist_free_all(list);
    return longer;
}

} // namespace

HeaderList withLine(const HeaderList& list, const std::string& line) {
    curl_slist* copy = nullptr;
    for (const curl_slist* at = list.get(); at != nullptr; at = at->next) {
        copy = append(copy, at->data);
        if (copy == nullptr)
            return nullptr;
    }
    return {append(copy, line.c_str()), curl_slist_free_all};
}

} // namespace hascommon::detail
