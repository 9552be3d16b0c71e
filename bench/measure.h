// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

double median(std::vector<double> values);

/// How long `work` takes, in microseconds.
double microseconds_of(const std::function<void()>& work);

/// Calls whose times are compared.
struct Series {
  std::string name;
  std::function<void()> enter;    // chooses the token; not timed
  std::function<void()> prepare;  // before each call; not timed; may be empty
  std::function<void()> call;
  int calls_a_turn = 10;
};

/// The median time of a call of each series, in microseconds. They take turns, so that other load on the
/// machine affects all of them; the first call of a turn is not counted.
std::vector<double> take_turns(const std::vector<Series>& all, int turns);

/// Waits for `count` children that do the same work at once.
void in_children(int count, const std::function<void()>& work);

struct SystemCalls {
  int all, syncs;  // syncs: fsync and fdatasync
};

/// The system calls of `call` in a child process that has run it once before, each time after `prepare`.
SystemCalls system_calls_of(const std::function<void()>& prepare, const std::function<void()>& call);

}  // namespace bench
