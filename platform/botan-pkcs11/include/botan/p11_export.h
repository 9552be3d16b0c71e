#pragma once

/// Marks what libbotan-pkcs11 offers to other libraries; all else is hidden.
#define BOTAN_PKCS11_API __attribute__((visibility("default")))
