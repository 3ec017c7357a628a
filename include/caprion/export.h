#ifndef CAPRION_EXPORT_H
#define CAPRION_EXPORT_H

/* Marks an exported symbol. The library hides all others. */
#if defined(__GNUC__)
#define CAPRION_EXPORT __attribute__((visibility("default")))
#else
#define CAPRION_EXPORT
#endif

#endif
