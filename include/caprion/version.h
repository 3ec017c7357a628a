#ifndef CAPRION_VERSION_H
#define CAPRION_VERSION_H

#include <caprion/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The version of the library that is loaded: 1.0. */
extern CAPRION_EXPORT const double CaprionVersionNumber;

/* The same for people: names the program and its project version. NUL-terminated, lives as long as the
 * library. */
extern CAPRION_EXPORT const unsigned char CaprionVersionString[];

#ifdef __cplusplus
}
#endif

#endif
