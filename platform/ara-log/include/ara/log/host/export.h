#pragma once

/// Marks what libara-log.so shows to others; all else in it is hidden.
#define ARA_LOG_EXPORT __attribute__((visibility("default")))
