// What the fault origin answers.
#pragma once

#include <support/Pattern.h>

#include <chrono>
#include <cstdint>
#include <ctime>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace test {

/// A point of a response at which something can go wrong.
enum class Stage {
    BeforeStatus, ///< nothing was sent
    InHeader,     ///< half of the header was sent
    AfterHeader,  ///< the header was sent, no body
    InBody,       ///< a given number of body bytes was sent
};

/// What goes wrong at a stage.
struct Fault {
    enum class Action { Close, Reset, Stall };
    Stage stage = Stage::BeforeStatus;
    uint64_t bodyBytes = 0;
    Action action = Action::Close;
    /// How long a stall lasts; zero until it is released.
    std::chrono::milliseconds duration{0};
};

/// A file that is sent as a body.
struct FileBody {
    std::string path;
};

/// Everything about one response.
struct ReplyPlan {
    using Header = std::pair<std::string, std::string>;

    int status = 200;
    std::vector<Header> headers;
    std::variant<std::string, Pattern, FileBody> body;
    std::vector<Fault> faults;
    std::chrono::milliseconds delay{0};
    size_t dripBytes = 0;
    std::chrono::milliseconds dripInterval{0};
    uint64_t rate = 0;
    size_t chunk = 0;
    bool untilClose = false;
    bool lowerCase = false;
    bool gzip = false;
    bool ranges = true;
    bool close = false;
    bool claims = false;
    uint64_t claimedLength = 0;
    time_t lastModified = 0;
};

/// Says what to answer, in a chain: Reply().status(503).header("Retry-After", "1").
///
/// A body is answered by range (206 with Content-Range, 416 beyond the end) when it is asked for.
class Reply {
public:
    Reply& status(int code);
    Reply& body(std::string bytes);
    Reply& body(Pattern bytes);
    Reply& file(std::string path);
    Reply& header(std::string name, std::string value);
    /// `count` headers X-Flood-0, X-Flood-1 ... with values of `size` bytes.
    Reply& headerFlood(int count, size_t size);
    Reply& setCookie(std::string value) { return header("Set-Cookie", std::move(value)); }
    Reply& redirect(std::string location, int code = 302);
    /// Header names in lower case.
    Reply& lowerCaseNames();
    /// Transfer-Encoding: chunked, in chunks of this size.
    Reply& chunked(size_t size = 16384);
    /// No Content-Length: the end of the connection is the end of the body.
    Reply& untilClose();
    /// A Content-Length that is not the body's. With one that is too big the connection is closed
    /// behind the body.
    Reply& claimedLength(uint64_t length);
    /// Compresses the body for clients that accept gzip.
    Reply& gzip();
    /// Ignores the Range header.
    Reply& withoutRanges();
    /// Last-Modified, and 304 to a client that has it.
    Reply& lastModified(time_t when);
    /// Waits before the first byte.
    Reply& delayed(std::chrono::milliseconds time);
    /// Sends the body in pieces of `bytes` with a pause between two.
    Reply& dripped(size_t bytes, std::chrono::milliseconds interval);
    /// Sends the body at this many bytes per second.
    Reply& rate(uint64_t bytesPerSecond);
    /// Closes the connection behind the response.
    Reply& closing();

    /// Closes, resets or stalls the connection at a stage; a stall ends after its time, when the
    /// origin releases the path, or when it stops.
    Reply& closedAt(Stage stage, uint64_t bodyBytes = 0);
    Reply& resetAt(Stage stage, uint64_t bodyBytes = 0);
    Reply& stalledAt(Stage stage, uint64_t bodyBytes = 0,
                     std::chrono::milliseconds time = std::chrono::milliseconds(0));

    const ReplyPlan& plan() const { return m_plan; }

private:
    Reply& fault(Stage stage, uint64_t bodyBytes, Fault::Action action,
                 std::chrono::milliseconds time);

    ReplyPlan m_plan;
};

} // namespace test
