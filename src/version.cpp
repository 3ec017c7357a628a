#include <caprion/version.h>

static_assert(CAPRION_VERSION_MAJOR == 1 && CAPRION_VERSION_MINOR == 0, "the version below is another");

const double CaprionVersionNumber = 1.0;
const unsigned char CaprionVersionString[] = "PROGRAM:Caprion PROJECT:Caprion-1";
