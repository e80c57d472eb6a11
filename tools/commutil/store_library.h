#pragma once

#include "settings/facts.h"

/// Loads the store's library as libcommutil does and describes it. It stays loaded, so call this in
/// a child.
settings::StoreLibrary examineStoreLibrary();
