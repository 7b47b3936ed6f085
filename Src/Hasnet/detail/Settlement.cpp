#include <Hasnet/detail/EngineLog.h>

#include <Hasnet/detail/Settlement.h>

#include <Hascommon/Linux/Sleep.h>
#include <Hasnet/detail/ResultCode.h>

#include <utility>

namespace hascommon::detail {
namespace {

constexpr unsigned int kRetryPaceMs = 500;

TransferEnd endOf(const UnitObject& unit, CURLcode result, long status, int easyIndex)
    HAS_REQUIRES(itemLock) {
    TransferEnd end;
    end.result = result;
    end.status = status;
    end.easyIndex = easyIndex;
    end.url = unit.url;
    end.received = unit.received;
    end.total = unit.contentLength;
    end.skipBytes = unit.skipBytes;
    end.retries = unit.retries;
    end.paused = unit.IsPaused();
    end.cancelled = unit.aborted;
    return end;
}

} // namespace

int Settlement::ResultIf(UnitObject& unit, CURLcode curlCode, long httpStatus, int easyIndex) {
    const TransferEnd end = endOf(unit, curlCode, httpStatus, easyIndex);
    const int code = codeOf(curlCode, httpStatus);
    const std::string text = codeText(code, curlCode);
    if (!text.empty())
        HAS_LOG("%s", text.c_str());
    if (code != RESULT_OK)
        unit.code = code;
    if (code < 0) {
        if (code != RESULT_CANCELLED)
            HAS_LOG("%s", failureText(end, code).c_str());
        if (end.cancelled)
            unit.code = RESULT_CANCELLED;
        else
            ApplyRetryRules(unit, outcomeOf(end, code));
    }
    reportRedirect(unit, httpStatus);
    unit.aborted = false;
    HAS_LOG("--- final unit->code: %d", unit.code.load());
    return unit.code;
}

void Settlement::ApplyRetryRules(UnitObject& unit, const Outcome& outcome) {
    unit.retries = outcome.retries;
    unit.skipBytes = outcome.skipBytes;
    if (!outcome.text.empty())
        HAS_LOG("%s", outcome.text.c_str());
    if (outcome.paces)
        has_sleep_ms(kRetryPaceMs); // With the lock held on purpose: it paces the owner's retries.
    unit.code = outcome.code;
    HAS_LOG("--- unit->code 3 :%d", unit.code.load());
}

void Settlement::reportRedirect(UnitObject& unit, long httpStatus) {
    constexpr long kStatusOk = 200;
    const std::string location = std::exchange(unit.location, {});
    const long redirects = unit.transfer.Redirects();
    unit.redirects = redirects;
    ICurlCB* cb = m_owner.cb;
    if (cb != nullptr && !location.empty() && redirects >= 1 && httpStatus == kStatusOk)
        cb->OnRedirected(&unit, location);
}

} // namespace hascommon::detail
