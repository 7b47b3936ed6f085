// One connection of the fault origin.
#pragma once

#include <support/FaultOrigin.h>
#include <support/detail/OriginResponse.h>

#include <string>
#include <string_view>

namespace test::detail {

/// Reads requests and sends answers until either side has had enough. Lives on its own thread; all
/// its waits end when the origin stops.
class OriginConnection {
public:
    OriginConnection(FaultOrigin& origin, Descriptor socket, std::string peer, int number);
    void run();

private:
    /// What became of a wait.
    enum class Woken { Time, Gate, PeerGone, Stopped };

    bool readRequest(Request& request);
    bool answer(const FaultOrigin::Answer& answer, const Request& request);
    bool sendHead(const ReplyPlan& plan, const OriginResponse& response);
    bool sendBody(const ReplyPlan& plan, OriginResponse& response);
    bool sendPiece(const ReplyPlan& plan, std::string_view piece, bool last);
    bool pace(const ReplyPlan& plan, size_t bytes);
    /// Plays the faults of one point; false when the connection has ended.
    bool pass(const ReplyPlan& plan, Stage stage, uint64_t bodyBytes);
    bool play(const Fault& fault);
    void reset();
    /// Waits until what was sent has arrived, so that a reset does not take it back.
    void flush();
    bool send(std::string_view bytes, bool more);
    Woken wait(std::chrono::nanoseconds time, int gate);
    bool waitUntil(short events);
    size_t pieceLimit(const ReplyPlan& plan) const;
    uint64_t rate(const ReplyPlan& plan) const;

    FaultOrigin& m_origin;
    Descriptor m_socket;
    std::string m_peer;
    int m_number;
    std::string m_input;
    int m_gate = -1;
    std::chrono::steady_clock::time_point m_due;
};

} // namespace test::detail
