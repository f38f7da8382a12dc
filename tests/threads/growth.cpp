// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/threads/growth.h"

namespace tresk::test {

double growth_over(const std::vector<Sample>& samples)
{
    const auto count = static_cast<double>(samples.size());
    double sum_at = 0;
    double sum_value = 0;
    for (const Sample& sample : samples) {
        sum_at += sample.at;
        sum_value += sample.value;
    }
    double along = 0;
    double both = 0;
    for (const Sample& sample : samples) {
        const double at = sample.at - sum_at / count;
        along += at * at;
        both += at * (sample.value - sum_value / count);
    }
    return along == 0 ? 0 : both / along * (samples.back().at - samples.front().at);
}

} // namespace tresk::test
