#include <support/detail/OriginConnection.h>

#include <algorithm>
#include <cstdio>

#include <poll.h>

namespace test::detail {
namespace {

using std::chrono::steady_clock;

constexpr size_t kMaxPiece = 1048576;
/// A limited rate is kept by this many pieces a second.
constexpr uint64_t kPiecesPerSecond = 50;
constexpr std::chrono::milliseconds kForever{0};

} // namespace

void OriginConnection::run() {
    bool keep = true;
    while (keep) {
        const std::optional<Request> request = readRequest();
        if (!request)
            return;
        m_origin.record(*request);
        keep = answer(m_origin.answerTo(*request), *request);
    }
}

std::optional<Request> OriginConnection::readRequest() {
    auto read = m_connection.read();
    if (!read)
        return std::nullopt;
    Request request;
    static_cast<hastool::WebRequest&>(request) = std::move(*read);
    request.peer = m_connection.peer();
    request.connection = m_connection.number();
    request.time = steady_clock::now();
    return request;
}

bool OriginConnection::answer(const FaultOrigin::Answer& answer, const Request& request) {
    const ReplyPlan& plan = answer.reply.plan();
    m_gate = answer.script->released.fd();
    if (plan.delay.count() > 0 && wait(plan.delay, -1) != Woken::Time)
        return false;
    OriginResponse response(plan, request);
    return sendHead(plan, response) && sendBody(plan, response) && response.keepsConnection();
}

bool OriginConnection::sendHead(const ReplyPlan& plan, const OriginResponse& response) {
    const auto isAt = [](Stage stage) {
        return [stage](const Fault& fault) { return fault.stage == stage; };
    };
    const auto& faults = plan.faults;
    const std::string_view head = response.head();
    if (!pass(plan, Stage::BeforeStatus, 0))
        return false;
    size_t sent = 0;
    if (std::any_of(faults.begin(), faults.end(), isAt(Stage::InHeader))) {
        sent = head.size() / 2;
        if (!m_connection.send(head.substr(0, sent), false) || !pass(plan, Stage::InHeader, 0))
            return false;
    }
    // With nothing to wait for, the header travels in one packet with the body's begin.
    const bool joined = faults.empty() && response.length() > 0 && plan.dripBytes == 0;
    return m_connection.send(head.substr(sent), joined) && pass(plan, Stage::AfterHeader, 0);
}

bool OriginConnection::sendBody(const ReplyPlan& plan, OriginResponse& response) {
    m_due = steady_clock::now();
    uint64_t sent = 0;
    while (sent < response.length()) {
        if (!pass(plan, Stage::InBody, sent))
            return false;
        uint64_t most = std::min<uint64_t>(response.length() - sent, pieceLimit(plan));
        for (const Fault& fault : plan.faults) {
            if (fault.stage == Stage::InBody && fault.bodyBytes > sent)
                most = std::min(most, fault.bodyBytes - sent);
        }
        const std::string_view piece = response.read(sent, static_cast<size_t>(most));
        sent += piece.size();
        const bool last = sent == response.length();
        if (!sendPiece(plan, piece, last) || (!last && !pace(plan, piece.size())))
            return false;
    }
    if (plan.chunk > 0 && response.length() == 0 && !m_connection.send("0\r\n\r\n", false))
        return false;
    return pass(plan, Stage::InBody, sent);
}

bool OriginConnection::sendPiece(const ReplyPlan& plan, std::string_view piece, bool last) {
    if (plan.chunk == 0)
        return m_connection.send(piece, false);
    char size[32];
    const int length = std::snprintf(size, sizeof size, "%zx\r\n", piece.size());
    return m_connection.send({size, static_cast<size_t>(length)}, true) &&
           m_connection.send(piece, true) &&
           m_connection.send(last ? "\r\n0\r\n\r\n" : "\r\n", false);
}

bool OriginConnection::pace(const ReplyPlan& plan, size_t bytes) {
    if (plan.dripBytes > 0)
        return plan.dripInterval.count() == 0 || wait(plan.dripInterval, -1) == Woken::Time;
    const uint64_t limit = rate(plan);
    const auto now = steady_clock::now();
    if (limit == 0) {
        m_due = now;
        return true;
    }
    m_due += std::chrono::nanoseconds(1000000000ULL * bytes / limit);
    return m_due <= now || wait(m_due - now, -1) == Woken::Time;
}

bool OriginConnection::pass(const ReplyPlan& plan, Stage stage, uint64_t bodyBytes) {
    for (const Fault& fault : plan.faults) {
        if (fault.stage == stage && fault.bodyBytes == bodyBytes && !play(fault))
            return false;
    }
    return true;
}

bool OriginConnection::play(const Fault& fault) {
    switch (fault.action) {
    case Fault::Action::Reset:
        m_connection.reset();
        return false;
    case Fault::Action::Close:
        return false;
    case Fault::Action::Stall:
        break;
    }
    const Woken woken = wait(fault.duration, m_gate);
    return woken == Woken::Time || woken == Woken::Gate;
}

OriginConnection::Woken OriginConnection::wait(std::chrono::nanoseconds time, int gate) {
    const timespec limit{static_cast<time_t>(time.count() / 1000000000),
                         static_cast<decltype(timespec::tv_nsec)>(time.count() % 1000000000)};
    pollfd watched[] = {
        {m_origin.m_stopped.fd(), POLLIN, 0}, {m_connection.fd(), POLLRDHUP, 0}, {gate, POLLIN, 0}};
    if (ppoll(watched, 3, time == kForever ? nullptr : &limit, nullptr) == 0)
        return Woken::Time;
    if (watched[0].revents != 0)
        return Woken::Stopped;
    return watched[1].revents != 0 ? Woken::PeerGone : Woken::Gate;
}

size_t OriginConnection::pieceLimit(const ReplyPlan& plan) const {
    size_t limit = kMaxPiece;
    if (plan.chunk > 0)
        limit = std::min(limit, plan.chunk);
    if (plan.dripBytes > 0)
        limit = std::min(limit, plan.dripBytes);
    const uint64_t perSecond = rate(plan);
    if (perSecond > 0)
        limit = std::min(limit,
                         static_cast<size_t>(std::max<uint64_t>(1, perSecond / kPiecesPerSecond)));
    return limit;
}

uint64_t OriginConnection::rate(const ReplyPlan& plan) const {
    return plan.rate > 0 ? plan.rate : m_origin.m_rate.load();
}

} // namespace test::detail
