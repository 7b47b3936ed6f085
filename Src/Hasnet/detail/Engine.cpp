#include <Hasnet/detail/Engine.h>

#include <utility>

namespace hascommon::detail {

Engine::Engine(Curl& front, curl_thread_option option, int sleepTime, std::string cookieId)
    : cookiePath(std::move(cookieId))
    , pass(front, factory, table, queue, body, drain, setup)
    , table(*this)
    , queue(pass.wake)
    , setup(table.urlInfo, cookieJar,
            {BodyDelivery::EasyDownloadCB, HeaderIntake::HeaderCB, Pass::ProgressCB},
            pass.highSockets)
    , begin(pass.lock, factory, owner, table, setup, queue)
    , body(pass.lock, owner, table.urlInfo, queue)
    , headers(pass.lock, table.urlInfo, cookieJar)
    , settlement(owner)
    , drain(table)
    , control(pass)
    , thread(front, pass, queue, option, sleepTime)
    , ending(front, table, queue, pass, drain, control, thread)
    , completion(table, queue, pass) {}

} // namespace hascommon::detail
