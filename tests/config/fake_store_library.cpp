// The common part of all kinds of the fake settings store; the test program that loads it sets its
// results.
extern "C" {

void fakeStoreUnloaded();

extern const int fakeStoreIsLoaded;
const int fakeStoreIsLoaded = 1;
}

namespace {

struct Unloading {
  ~Unloading() { fakeStoreUnloaded(); }
};
const Unloading kUnloading;

}  // namespace
