#pragma once

#include <string>
#include <vector>

namespace commutil_test {

/// The rows of a table, each of which is also searched for.
using Table = std::vector<std::string>;

/// Returns 100 tables of 200 valid UTF-8 strings without NUL. The first holds every other ASCII
/// byte and hand-written strings; the others hold random strings of few characters, and variants of
/// them that a badly escaped pattern would match or miss.
std::vector<Table> sampleTables();

}  // namespace commutil_test
