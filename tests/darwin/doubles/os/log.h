// A double of the unified log: what is logged is noted in `doubles`.
#pragma once

typedef const char* os_log_t;
enum os_log_type_t { OS_LOG_TYPE_DEFAULT = 0, OS_LOG_TYPE_ERROR = 16 };

os_log_t os_log_create(const char* subsystem, const char* category);
void os_log_with_type(os_log_t log, os_log_type_t type, const char* format, const char* text);
