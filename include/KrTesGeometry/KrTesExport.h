#ifndef KRTES_EXPORT_H
#define KRTES_EXPORT_H

// Symbol visibility of the KrTesGeometry library. The library is built with
// hidden visibility: what carries KRTES_API is its binary interface, the rest
// (internal helpers) stays inside it.
#if defined(KRTES_STATIC)
#define KRTES_API
#elif defined(_WIN32)
#if defined(KRTES_BUILDING)
#define KRTES_API __declspec(dllexport)
#else
#define KRTES_API __declspec(dllimport)
#endif
#else
#define KRTES_API __attribute__((visibility("default")))
#endif

#endif
