#include <support/Fetch.h>

#include <memory>

namespace test {
namespace {

size_t append(char* data, size_t size, size_t count, void* text) {
    static_cast<std::string*>(text)->append(data, size * count);
    return size * count;
}

} // namespace

Fetched fetch(const std::string& url, const FetchOptions& options) {
    Fetched result;
    const std::unique_ptr<CURL, void (*)(CURL*)> easy(curl_easy_init(), curl_easy_cleanup);
    curl_easy_setopt(easy.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy.get(), CURLOPT_PROXY, "");
    curl_easy_setopt(easy.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, append);
    curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, &result.body);
    curl_easy_setopt(easy.get(), CURLOPT_HEADERFUNCTION, append);
    curl_easy_setopt(easy.get(), CURLOPT_HEADERDATA, &result.head);
    if (options)
        options(easy.get());
    result.code = curl_easy_perform(easy.get());
    curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &result.status);
    curl_easy_getinfo(easy.get(), CURLINFO_REDIRECT_COUNT, &result.redirects);
    curl_easy_getinfo(easy.get(), CURLINFO_HTTP_VERSION, &result.httpVersion);
    return result;
}

} // namespace test
