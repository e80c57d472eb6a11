#pragma once

#include <string>

std::string trivial();
