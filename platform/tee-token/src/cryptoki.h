#pragma once

// Cryptoki's C names, once for the whole module, without the helper macros that the header leaves behind.
#include "tee_token/vendor_interface.h"

#undef hash_alg
#undef s_len
#undef source_data
#undef source_data_len
#undef counter_bits
#undef iv_ptr
#undef iv_len
#undef iv_bits
#undef aad_ptr
#undef aad_len
#undef tag_bits
#undef shared_data
#undef shared_data_len
#undef public_data
#undef public_data_len
#undef string_data
#undef string_data_len
#undef data_params
