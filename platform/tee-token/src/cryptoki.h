#pragma once

// Cryptoki's C names and the token's own, once for the whole module.
#include "tee_token/vendor_interface.h"
