#ifndef CAPRION_VERSION_H
#define CAPRION_VERSION_H

/** \file
 * The version, of the headers and of the library that is loaded. */

#include <caprion/export.h>

/** The version of these headers, which is that of the whole project. */
#define CAPRION_VERSION_MAJOR 1
/** Grows with each release that adds to the interface. */
#define CAPRION_VERSION_MINOR 0
/** Grows with each release that only mends. */
#define CAPRION_VERSION_PATCH 0

/** Whether these headers are of that version or a later one; for the preprocessor. */
#define CAPRION_VERSION_AT_LEAST(major, minor) \
  (CAPRION_VERSION_MAJOR > (major) || (CAPRION_VERSION_MAJOR == (major) && CAPRION_VERSION_MINOR >= (minor)))

#ifdef __cplusplus
extern "C" {
#endif

/** The version of the library that is loaded, as MAJOR.MINOR: 1.0. */
extern CAPRION_EXPORT const double CaprionVersionNumber;

/** The same for people: names the program and its project version. NUL-terminated, lives as long as the
 * library. */
extern CAPRION_EXPORT const unsigned char CaprionVersionString[];

#ifdef __cplusplus
}
#endif

#endif
