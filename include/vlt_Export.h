// Symbol export for the three shared libraries of the project.
//
// Everything is built with hidden visibility; a published class or function carries the macro
// of the library that defines it. Class templates whose static members must be one object per
// process (the singletons) carry VLT_TEMPLATE_VISIBLE so that every shared object refers to
// the same instance of the static member.
#pragma once

#if defined(_WIN32)
#define VLT_DLL_EXPORT __declspec(dllexport)
#define VLT_DLL_IMPORT __declspec(dllimport)
#define VLT_TEMPLATE_VISIBLE
#else
#define VLT_DLL_EXPORT __attribute__((visibility("default")))
#define VLT_DLL_IMPORT __attribute__((visibility("default")))
#define VLT_TEMPLATE_VISIBLE __attribute__((visibility("default")))
#endif

#if defined(VLTUTL_BUILD)
#define VLTUTL_API VLT_DLL_EXPORT
#else
#define VLTUTL_API VLT_DLL_IMPORT
#endif

#if defined(VLTTHR_BUILD)
#define VLTTHR_API VLT_DLL_EXPORT
#else
#define VLTTHR_API VLT_DLL_IMPORT
#endif

#if defined(VLTCRT_BUILD)
#define VLTCRT_API VLT_DLL_EXPORT
#else
#define VLTCRT_API VLT_DLL_IMPORT
#endif
