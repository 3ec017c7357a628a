#ifndef CAPRION_EXPORT_H
#define CAPRION_EXPORT_H

/* Marks what the library exports. Everything else in it is hidden. */
#if defined(__GNUC__)
#define CAPRION_EXPORT __attribute__((visibility("default")))
#else
#define CAPRION_EXPORT
#endif

#endif
