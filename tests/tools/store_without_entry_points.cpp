// A library without entry points that replaces a settings store.
extern "C" {
int somethingElse();
int somethingElse() { return 0; }
}
