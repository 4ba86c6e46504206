#pragma once

#include "kr/testing/log_capture.h"

namespace test_support {

using KrTesting::LogCapture;

}  // namespace test_support
