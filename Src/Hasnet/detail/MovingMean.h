// A mean that forgets.
#pragma once

#include <cmath>

namespace hascommon::detail {

/// An exponential mean: what is `halfLife` of weight ago counts half as much as what is new. Its
/// short start is corrected for, so that it begins with the first value and not with 0.
class MovingMean {
public:
    explicit MovingMean(double halfLife)
        : m_halfLife(halfLife) {}

    void Add(double value, double weight) {
        const double kept = std::exp2(-weight / m_halfLife);
        m_sum = kept * m_sum + (1 - kept) * value;
        m_weight = kept * m_weight + (1 - kept);
    }
    bool IsEmpty() const { return m_weight <= 0; }
    /// 0 before the first value.
    double Value() const { return IsEmpty() ? 0 : m_sum / m_weight; }

private:
    double m_halfLife;
    double m_sum = 0;
    double m_weight = 0; ///< of all values so far, below 1
};

} // namespace hascommon::detail
