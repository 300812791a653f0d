// What the adapters use of the unified log. See Foundation/Foundation.h.
#pragma once

#include <os/object.h>
#include <stdbool.h>
#include <stdint.h>

OS_OBJECT_DECL_CLASS(os_log);

extern "C" {

typedef enum os_log_type_t : uint8_t {
  OS_LOG_TYPE_DEFAULT = 0,
  OS_LOG_TYPE_ERROR = 0x10
} os_log_type_t;
static_assert(OS_LOG_TYPE_ERROR == 16);

extern struct mach_header __dso_handle;

OS_OBJECT_RETURNS_RETAINED os_log_t os_log_create(const char* subsystem, const char* category);
bool os_log_type_enabled(os_log_t log, os_log_type_t type);
void _os_log_impl(void* image, os_log_t log, os_log_type_t type, const char* format,
                  uint8_t* buffer, uint32_t size);

}  // extern "C"

#define os_log_with_type(log, type, format, ...)                                               \
  do {                                                                                         \
    __attribute__((section(                                                                    \
        "__TEXT,__oslogstring,cstring_literals"))) static const char os_log_format[] = format; \
    uint8_t os_log_buffer[__builtin_os_log_format_buffer_size(format, ##__VA_ARGS__)];         \
    if (os_log_type_enabled(log, type)) {                                                      \
      __builtin_os_log_format(os_log_buffer, format, ##__VA_ARGS__);                           \
      _os_log_impl(&__dso_handle, log, type, os_log_format, os_log_buffer,                     \
                   static_cast<uint32_t>(sizeof os_log_buffer));                               \
    }                                                                                          \
  } while (0)
