// SPDX-License-Identifier: MIT
#include "rounds.h"

#include "pictures.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sched.h>

namespace bench {

namespace {

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

void print(const std::string& row, const std::string& contender,
           const std::vector<double>& values) {
    const nlohmann::json line = {
        {"row", row}, {"contender", contender}, {"median", median(values)}, {"rounds", values}};
    std::cout << line.dump() << std::endl;
}

} // namespace

double wallSeconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count();
}

double timed(const std::function<void()>& work) {
    const double start = wallSeconds();
    work();
    return wallSeconds() - start;
}

void compare(const std::string& row, const std::vector<Contender>& contenders, int rounds) {
    std::vector<std::vector<double>> seconds(contenders.size());
    for (const Contender& contender : contenders) {
        contender.run();
    }
    for (int round = 0; round < (small() ? 1 : rounds); ++round) {
        for (std::size_t i = 0; i < contenders.size(); ++i) {
            seconds[i].push_back(contenders[i].run());
        }
    }
    for (std::size_t i = 0; i < contenders.size(); ++i) {
        print(row, contenders[i].name, seconds[i]);
    }
}

void report(const std::string& row, const std::string& contender, double value) {
    print(row, contender, {value});
}

void useOneProcessor() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu(), &one);
    sched_setaffinity(0, sizeof one, &one);
}

} // namespace bench
