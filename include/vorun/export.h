/** @file export.h  Linkage of the exported functions. */
#ifndef VORUN_EXPORT_H
#define VORUN_EXPORT_H

#if defined(_WIN32)
#if defined(VORUN_BUILDING_LIBRARY)
#define VORUN_API __declspec(dllexport)
#else
#define VORUN_API __declspec(dllimport)
#endif
#else
#define VORUN_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#define VORUN_EXTERN_C extern "C"
#else
#define VORUN_EXTERN_C extern
#endif

/** A function exported under its plain name. */
#define VORUN_FUNCTION VORUN_EXTERN_C VORUN_API

#endif
