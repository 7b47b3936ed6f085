// A download engine behind its public class.
#pragma once

#include <Hasnet/CHttpCookie.h>
#include <Hasnet/ConcreateCurlFactory.h>
#include <Hasnet/curl_thread_option.h>
#include <Hasnet/detail/BodyDelivery.h>
#include <Hasnet/detail/CompletionWait.h>
#include <Hasnet/detail/Ending.h>
#include <Hasnet/detail/HeaderIntake.h>
#include <Hasnet/detail/OwnerCallbacks.h>
#include <Hasnet/detail/Pass.h>
#include <Hasnet/detail/RequestBegin.h>
#include <Hasnet/detail/RequestQueue.h>
#include <Hasnet/detail/RequestSetup.h>
#include <Hasnet/detail/ResetDrain.h>
#include <Hasnet/detail/Settlement.h>
#include <Hasnet/detail/TransferThread.h>
#include <Hasnet/detail/UnitControl.h>
#include <Hasnet/detail/UnitTable.h>

#include <string>

namespace hascommon::detail {

/// The parts of a download engine; each names in its constructor the others that it may touch.
///
/// Locks, in the order they may be taken: the item lock, then one of those that the unit table, the
/// queue and the set-up have inside. None of the last is held while anything outside is called. The
/// thread's mutex is held while the thread is waited for, so who takes it gives the item lock up
/// first; a pass alone keeps it.
class Engine {
public:
    Engine(Curl& front, curl_thread_option option, int sleepTime, std::string cookieId);

    const std::string cookiePath;
    ConcreateCurlFactory<CurlEasy, CurlMulti> factory;
    OwnerCallbacks owner;
    CHttpCookie cookieJar;
    // Before those it drives, as it has the lock that they are made with; it only keeps where they
    // are until it first runs.
    Pass pass;
    UnitTable table;
    RequestQueue queue;
    RequestSetup setup;
    RequestBegin begin;
    BodyDelivery body;
    HeaderIntake headers;
    Settlement settlement;
    ResetDrain drain;
    UnitControl control;
    TransferThread thread;
    Ending ending;
    CompletionWait completion;
};

} // namespace hascommon::detail
