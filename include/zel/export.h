/* export.h: how the library's names are declared. Plug-ins include the family headers, never this one. */
#ifndef ZEL_EXPORT_H
#define ZEL_EXPORT_H

#ifdef __cplusplus
#define ZEL_EXTERN_C_BEGIN extern "C" {
#define ZEL_EXTERN_C_END }
#else
#define ZEL_EXTERN_C_BEGIN
#define ZEL_EXTERN_C_END
#endif

#if defined(__GNUC__)
#define ZEL_API __attribute__((visibility("default")))
#define ZEL_PRINTF(format_at, arguments_at) __attribute__((format(printf, format_at, arguments_at)))
#else
#define ZEL_API
#define ZEL_PRINTF(format_at, arguments_at)
#endif

#endif
