#ifndef KRTESIO_EXPORT_H
#define KRTESIO_EXPORT_H

// Symbol visibility of the KrTesIO library (the file formats). Like the core
// library it is built with hidden visibility: what carries KRTESIO_API is its
// binary interface; the shared text scanner and the format internals stay
// inside it.
#if defined(KRTESIO_STATIC)
#define KRTESIO_API
#elif defined(_WIN32)
#if defined(KRTESIO_BUILDING)
#define KRTESIO_API __declspec(dllexport)
#else
#define KRTESIO_API __declspec(dllimport)
#endif
#else
#define KRTESIO_API __attribute__((visibility("default")))
#endif

#endif
