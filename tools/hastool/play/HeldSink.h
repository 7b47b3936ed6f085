// An answer that its server holds back.
#pragma once

#include "PacedTraffic.h"

#include <hastool/base/ByteSink.h>

namespace hastool {

/// Hands bytes on. The time before the first of them does not count as the line's, see
/// PacedTraffic.
class HeldSink : public ByteSink {
public:
    /// Both are borrowed.
    HeldSink(ByteSink& target, PacedTraffic& traffic)
        : m_target(target)
        , m_traffic(traffic) {
        m_traffic.begin();
    }
    ~HeldSink() override { m_traffic.end(); }
    HeldSink(const HeldSink&) = delete;
    HeldSink& operator=(const HeldSink&) = delete;

    bool write(const unsigned char* data, size_t size) override {
        if (!m_hasBegun)
            m_traffic.waited();
        m_hasBegun = true;
        return m_target.write(data, size);
    }
    std::string failure() const override { return m_target.failure(); }

private:
    ByteSink& m_target;
    PacedTraffic& m_traffic;
    bool m_hasBegun = false;
};

} // namespace hastool
