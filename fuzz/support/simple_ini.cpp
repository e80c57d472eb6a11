// The parser behind the INI reader, compiled here as the library's sources are: the system's own
// shows libFuzzer no coverage and the sanitizers no faults.
#define SI_IMPLEMENTATION
#define SI_NO_CONVERSION
#include <SimpleIni.h>

template class CSimpleIniTempl<char, SI_GenericCase<char>, SI_ConvertA<char>>;
