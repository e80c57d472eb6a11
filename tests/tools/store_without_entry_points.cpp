// A library instead of a settings store that is none.
extern "C" {
int somethingElse();
int somethingElse() { return 0; }
}
