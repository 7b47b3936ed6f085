// One connection of the fault origin.
#pragma once

#include <support/FaultOrigin.h>
#include <support/detail/OriginResponse.h>

#include <optional>
#include <string_view>

namespace test::detail {

/// Reads requests and sends answers until one side closes the connection. Runs on a thread of its
/// own; all its waits end when the origin stops.
class OriginConnection {
public:
    OriginConnection(FaultOrigin& origin, hastool::WebConnection& connection)
        : m_origin(origin)
        , m_connection(connection) {}
    void run();

private:
    /// What ended a wait.
    enum class Woken { Time, Gate, PeerGone, Stopped };

    std::optional<Request> readRequest();
    bool answer(const FaultOrigin::Answer& answer, const Request& request);
    bool sendHead(const ReplyPlan& plan, const OriginResponse& response);
    bool sendBody(const ReplyPlan& plan, OriginResponse& response);
    bool sendPiece(const ReplyPlan& plan, std::string_view piece, bool last);
    bool pace(const ReplyPlan& plan, size_t bytes);
    /// Plays the faults of one point; false when the connection has ended.
    bool pass(const ReplyPlan& plan, Stage stage, uint64_t bodyBytes);
    bool play(const Fault& fault);
    Woken wait(std::chrono::nanoseconds time, int gate);
    size_t pieceLimit(const ReplyPlan& plan) const;
    uint64_t rate(const ReplyPlan& plan) const;

    FaultOrigin& m_origin;
    hastool::WebConnection& m_connection;
    int m_gate = -1;
    std::chrono::steady_clock::time_point m_due;
};

} // namespace test::detail
