#pragma once

#include <ara/log/common.h>
#include <ara/log/log_stream.h>
#include <ara/log/logger.h>
