#include "ViewerPause.h"

namespace hastool {

ViewerPause::Change ViewerPause::step(Milliseconds position, Milliseconds passed) {
    if (m_paused) {
        m_left -= passed;
        if (m_left.count() > 0)
            return Change::None;
        m_paused = false;
        return Change::Ended;
    }
    if (position < m_position)
        return Change::None;
    m_position = Milliseconds::max();
    m_paused = true;
    return Change::Begun;
}

} // namespace hastool
