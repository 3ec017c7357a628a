#ifndef CAPRION_VERSION_H
#define CAPRION_VERSION_H

/** \file
 * The versions of the headers and of the loaded library. */

#include <caprion/export.h>

/** The version of these headers, which is that of the whole project. */
#define CAPRION_VERSION_MAJOR 1
/** Increased by each release that adds to the interface. */
#define CAPRION_VERSION_MINOR 0
/** Increased by each release that only fixes bugs. */
#define CAPRION_VERSION_PATCH 0

/** Whether the headers have at least this version; for the preprocessor. */
#define CAPRION_VERSION_AT_LEAST(major, minor) \
  (CAPRION_VERSION_MAJOR > (major) || (CAPRION_VERSION_MAJOR == (major) && CAPRION_VERSION_MINOR >= (minor)))

#ifdef __cplusplus
extern "C" {
#endif

/** The version of the loaded library, as MAJOR.MINOR: 1.0. */
extern CAPRION_EXPORT const double CaprionVersionNumber;

/** The same for people: the program's name and project version. NUL-terminated; lives as long as the
 * library. */
extern CAPRION_EXPORT const unsigned char CaprionVersionString[];

#ifdef __cplusplus
}
#endif

#endif
