#include <caprion/version.h>

const double CaprionVersionNumber = 1.0;
const unsigned char CaprionVersionString[] = "PROGRAM:Caprion PROJECT:Caprion-1";
