// What waits for transfers to end.
#pragma once

#include <Hasnet/detail/Pass.h>
#include <Hasnet/detail/RequestQueue.h>
#include <Hasnet/detail/ResetDrain.h>
#include <Hasnet/detail/TransferThread.h>
#include <Hasnet/detail/UnitControl.h>
#include <Hasnet/detail/UnitTable.h>

namespace hascommon::detail {

/// Collects a unit, resets the engine and stops it. Each gives the item lock up while it waits, at
/// whatever depth its caller holds it, drives the engine where no thread does, and waits for
/// nothing inside a callback.
class Ending {
public:
    Ending(Curl& front, UnitTable& table, RequestQueue& queue, Pass& pass, ResetDrain& drain,
           UnitControl& control, TransferThread& thread);

    /// What Curl::EndDownload() does for a unit.
    int Collect(UnitObject& unit);
    /// Makes the request keys stale, cancels every unit and frees them all.
    void Reset();
    /// Stops the thread and completes every unit as cancelled; a callback only asks for it.
    void Stop();

private:
    bool drained();
    void waitStep(unsigned int ms);

    Curl& m_front;
    UnitTable& m_table;
    RequestQueue& m_queue;
    Pass& m_pass;
    ResetDrain& m_drain;
    UnitControl& m_control;
    TransferThread& m_thread;
};

} // namespace hascommon::detail
