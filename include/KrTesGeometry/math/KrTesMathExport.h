#ifndef KRTESMATH_EXPORT_H
#define KRTESMATH_EXPORT_H

// Symbol visibility of the KrTesMath library. The library is built with hidden
// visibility, so only what carries KRTESMATH_API is part of its binary interface.
#if defined(KRTESMATH_STATIC)
#define KRTESMATH_API
#elif defined(_WIN32)
#if defined(KRTESMATH_BUILDING)
#define KRTESMATH_API __declspec(dllexport)
#else
#define KRTESMATH_API __declspec(dllimport)
#endif
#else
#define KRTESMATH_API __attribute__((visibility("default")))
#endif

#endif
