// SPDX-License-Identifier: MIT
// Measures contenders in turn: every round runs each of them once, so that other load affects all
// alike; the figure of a contender is its median over the rounds.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

/// One side of a comparison: runs once and returns the seconds it took.
struct Contender {
    std::string name;
    std::function<double()> run;
};

/// Seconds by the wall clock.
double wallSeconds();

/// Seconds that `work` takes by the wall clock.
double timed(const std::function<void()>& work);

/// Runs all contenders once to warm up and then in turn for the rounds (one when `small()`),
/// and prints a line of JSON for each: {"row": ..., "contender": ..., "median": s, "rounds":
/// [...]}.
void compare(const std::string& row, const std::vector<Contender>& contenders, int rounds = 21);

/// Prints a figure other than a time as such a line.
void report(const std::string& row, const std::string& contender, double value);

/// Binds this process and its later children to one processor.
void useOneProcessor();

} // namespace bench
