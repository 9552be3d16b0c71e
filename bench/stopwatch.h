#pragma once

#include <functional>

namespace bench {

/// The median time of one call of `work` in microseconds, over `rounds` calls.
double median_microseconds(int rounds, const std::function<void()>& work);

}  // namespace bench
