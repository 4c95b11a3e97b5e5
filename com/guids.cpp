// The identifiers of the type library, the interfaces and the classes,
// defined once from the declarations in the generated kor.h.
#include <initguid.h>

#include "kor.h"
