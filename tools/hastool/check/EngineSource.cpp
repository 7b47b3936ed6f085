#include "EngineSource.h"

#include <utility>

namespace hastool {

EngineSource::EngineSource(EngineOptions options)
    : m_fetcher(std::move(options), kMaxCheckedBytes) {}

CheckSource::Fetched EngineSource::fetch(const Resource& resource) {
    QueuedFetcher::Fetched fetched = m_fetcher.fetch(resource);
    const Outcome& outcome = fetched.outcome;
    Fetched result;
    Answer& answer = result.answer;
    answer.resource = resource;
    answer.finalUrl = outcome.url;
    answer.ok = outcome.ok;
    answer.failure = outcome.failure;
    answer.status = outcome.httpStatus;
    answer.redirects = outcome.redirects;
    answer.head = ResponseHead(outcome.headerLines);
    answer.bytes = outcome.bytes;
    answer.begun = std::chrono::duration<double>(fetched.begun - m_begun).count();
    answer.seconds = std::chrono::duration<double>(outcome.time).count();
    result.bytes = std::move(fetched.bytes);
    return result;
}

std::string EngineSource::troubleNow() const {
    const char* const trouble = m_fetcher.troubleNow();
    return trouble != nullptr ? trouble : "";
}

} // namespace hastool
