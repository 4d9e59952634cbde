// Test names of tables.
#pragma once

#include <string>

// For INSTANTIATE_TEST_SUITE_P: each case goes by its member `name`.
inline constexpr auto kByName = [](const auto& test) { return std::string(test.param.name); };
