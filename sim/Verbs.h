// What a scenario line can say, and what it does to the appliance.
#pragma once

#include "sim/SimTime.h"
#include "sim/VerbForm.h"

#include <string>
#include <string_view>
#include <vector>

namespace sim
{
struct Machine;

struct Verb
{
    std::string_view form;
    // What is wrong with these arguments on this appliance; empty when nothing is, and null when nothing can
    // be.
    std::string (*check)(const Machine& machine, const Arguments& arguments);
    void (*apply)(Machine& machine, const Arguments& arguments, SimTime now);
};

struct FoundVerb
{
    const Verb* verb = nullptr; // null when no form fits
    Arguments arguments{};
    std::string error{}; // what was expected in place of what, when no form fits
};

FoundVerb FindVerb(const std::vector<std::string>& words);
} // namespace sim
