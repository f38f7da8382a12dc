// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Whether a value that was looked at again and again grows: the straight line through the samples, so that
// one high sample at the end is no growth and a small steady one is.
#ifndef TRESK_TESTS_THREADS_GROWTH_H
#define TRESK_TESTS_THREADS_GROWTH_H

#include <vector>

namespace tresk::test {

struct Sample {
    double at;
    double value;
};

/// How much the line through the samples (least squares) rises from the first of them to the last; 0 for less
/// than two.
double growth_over(const std::vector<Sample>& samples);

} // namespace tresk::test

#endif
