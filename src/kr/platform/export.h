#pragma once

/// Marks what the shared library exports; everything else is hidden.
#define KR_API __attribute__((visibility("default")))
