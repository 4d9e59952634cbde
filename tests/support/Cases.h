// Tests over a table: each row is a test of its own, under its `name`.
#pragma once

#include <gtest/gtest.h>

#include <string>

// The fixture of such a test, GetParam() being its row.
template <class Fixture, class Case>
class WithCases : public Fixture, public testing::WithParamInterface<Case>
{
};

// For INSTANTIATE_TEST_SUITE_P.
constexpr auto kCaseName = [](const auto& test) { return std::string(test.param.name); };
