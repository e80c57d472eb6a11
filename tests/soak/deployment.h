#pragma once

#include <cstddef>
#include <string>

#include "soak/random.h"

// The files of a deployment. Each has two contents, between which it changes at any time.

namespace commutil_soak {

constexpr const char* kUnsafeWord = "an unsafe word";
constexpr const char* kSourceFile = "source";

/// Returns a content of the file `name` of the deployment; `variant` is 0 or 1.
std::string contentOf(const std::string& name, std::size_t variant);
/// Returns the setting that changes with the variant of the store.
std::string changingSetting(std::size_t variant);

/// Writes all files. Call it on a `commutil_test::Host`.
void deploy();
/// Replaces a random file by rename(2).
void replaceOne(Random& random);

}  // namespace commutil_soak
