#pragma once

#include <botan/compiler.h>
#include <botan/p11_types.h>

BOTAN_DEPRECATED_HEADER(p11_session.h)
