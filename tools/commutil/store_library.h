#pragma once

#include "settings/facts.h"

/// Loads the store's library as the library does and says which one it is. Stays loaded: for a
/// child that ends afterwards.
settings::StoreLibrary examineStoreLibrary();
