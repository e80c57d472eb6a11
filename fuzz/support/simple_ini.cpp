// The parser of the INI reader, compiled with fuzzing flags: the system's build has no coverage and
// no sanitizers.
#define SI_IMPLEMENTATION
#define SI_NO_CONVERSION
#include <SimpleIni.h>

template class CSimpleIniTempl<char, SI_GenericCase<char>, SI_ConvertA<char>>;
