/* Compiled as C99 against the shipped library: the C interface's header is valid C, and the
   program links only when the library exports every function the header declares. The addresses
   are listed by the build, from the header. */
#include <stddef.h>

#include <kpxml/KpXmlApi.h>

#include "CInterfaceAddresses.h"

int main(void) {
    size_t i;
    for (i = 0; i < sizeof cInterfaceAddresses / sizeof cInterfaceAddresses[0]; ++i) {
        if (cInterfaceAddresses[i] == NULL) return 1;
    }
    return 0;
}
