#pragma once

#include <string>

/// The names of the stand-ins that were called since the last question.
std::string takeCalls();
