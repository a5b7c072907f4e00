#pragma once

#include "DF1Cascade.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <vector>

namespace sorvane::dsp {

/// What a test sets of a filter.
struct FilterSettings {
    FilterType type = FilterType::none;
    FilterShape shape = FilterShape::plain;
    std::int32_t order = 2;
    float hertz = 1000.0F;
    float gainDb = 0.0F;
    float q = 0.707F;

    friend std::ostream& operator<<(std::ostream& out, const FilterSettings& s)
    {
        return out << "type " << static_cast<int>(s.type) << " shape " << static_cast<int>(s.shape) << " order "
                   << s.order << " at " << s.hertz << " Hz, " << s.gainDb << " dB, Q " << s.q;
    }
};

inline void apply(const FilterSettings& settings, EQ& filter)
{
    filter.setBypass(false);
    filter.setType(settings.type);
    filter.setShape(settings.shape);
    filter.setOrder(settings.order);
    filter.setFrequency(settings.hertz);
    filter.setGain(settings.gainDb);
    filter.setQ(settings.q);
    filter.update();
}

inline double decibels(double gain)
{
    return 20.0 * std::log10(gain);
}

/// \return count frequencies from lowest to highest, evenly spaced on a logarithmic axis
inline std::vector<double> logarithmic(double lowest, double highest, int count)
{
    std::vector<double> values(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        values[static_cast<std::size_t>(i)] = lowest * std::pow(highest / lowest, i / (count - 1.0));
    return values;
}

} // namespace sorvane::dsp
