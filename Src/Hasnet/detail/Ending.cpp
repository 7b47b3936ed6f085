#include <Hasnet/detail/Ending.h>

#include <Hascommon/Linux/Sleep.h>
#include <Hasnet/Curl.h>
#include <Hasnet/detail/ItemRelease.h>

namespace hascommon::detail {
namespace {

constexpr unsigned int kEndWaitMs = 3;
constexpr unsigned int kResetWaitMs = 20;

} // namespace

Ending::Ending(Curl& front, UnitTable& table, RequestQueue& queue, Pass& pass, ResetDrain& drain,
               UnitControl& control, TransferThread& thread)
    : m_front(front)
    , m_table(table)
    , m_queue(queue)
    , m_pass(pass)
    , m_drain(drain)
    , m_control(control)
    , m_thread(thread) {}

int Ending::Collect(UnitObject& unit) {
    const ItemGuard lock(m_pass.lock);
    if (!unit.InUse() || unit.endRequested)
        return 0;
    const bool mayWait =
        !m_pass.InPass() && (unit.queued || unit.beginner != std::this_thread::get_id());
    // Before anything is marked: whoever comes while the mark stands takes the unit for collected.
    if (!mayWait && !unit.IsCompleted())
        return -1;
    unit.endRequested = true;
    const unsigned int generation = unit.generation;
    while (unit.InUse() && unit.generation == generation && !unit.IsCompleted())
        waitStep(kEndWaitMs);
    const int code = unit.code;
    // A reset may have freed the slot meanwhile, and a new request taken it.
    if (unit.generation == generation && unit.IsCompleted())
        m_table.Collect(unit);
    return code;
}

void Ending::Reset() {
    {
        const ItemGuard lock(m_pass.lock);
        m_queue.NextKey();
        for (UnitObject& unit : m_table) {
            if (!unit.InUse())
                continue;
            unit.resetMark = true;
            m_control.Cancel_unlock(&unit);
        }
        m_drain.LeaveToPass(m_pass.InPass());
        if (m_pass.InPass())
            return;
    }
    while (!drained())
        waitStep(kResetWaitMs);
    ResetDrain::FinishReset();
}

bool Ending::drained() {
    const ItemGuard lock(m_pass.lock);
    return m_drain.DrainReset();
}

void Ending::Stop() {
    if (m_pass.InPass()) {
        m_queue.Close();
        m_pass.wake.Signal();
        return; // The pass ends the units when it is done.
    }
    m_thread.Stop();
    const ItemGuard lock(m_pass.lock);
    while (m_pass.Runs())
        waitStep(kEndWaitMs); // Another thread of the owner's is in RunOnce().
    m_pass.EndAll();
}

void Ending::waitStep(unsigned int ms) {
    const ItemRelease release(m_pass.lock);
    if (!m_queue.Looping() && !m_pass.Runs() && !m_queue.Quit())
        m_front.RunOnce();
    else
        has_sleep_ms(ms);
}

} // namespace hascommon::detail
