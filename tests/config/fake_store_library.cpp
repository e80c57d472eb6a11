// What every kind of the fake settings store holds; the test program that loads it gives its
// answers.
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
