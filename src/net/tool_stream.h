#pragma once

#include <cstdio>
#include <memory>

#include "VexaCommonUtils_i.h"
#include "os/handles.h"

namespace commutil {

/// The output of a system tool, from `VexaCommonUtils_i::pipeline_s`; empty on failure.
using ToolStream =
    std::unique_ptr<std::FILE, HandleCloser<std::FILE, &VexaCommonUtils_i::pclose_s>>;

}  // namespace commutil
