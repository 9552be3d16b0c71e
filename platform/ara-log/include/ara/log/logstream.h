#pragma once

// The older spelling of the name.
#include <ara/log/log_stream.h>
