// SPDX-License-Identifier: MIT
// The byte access of <bxd/types.h> is inline in every program that uses it. This room gives each of the six a
// body of its own as well, so that a library with all procedures visible can be asked for them by name.
#include <bxd/types.h>

namespace {

struct ByteAccess {
    u16 (*get2)(const void*);
    u32 (*get3)(const void*);
    u32 (*get4)(const void*);
    void (*put2)(void*, u16);
    void (*put3)(void*, u32);
    void (*put4)(void*, u32);
};

// Nobody reads the table: taking the addresses is what makes the compiler emit the bodies.
[[gnu::used]] const ByteAccess kByteAccess = {GET_2BYTES, GET_3BYTES, GET_4BYTES,
                                              PUT_2BYTES, PUT_3BYTES, PUT_4BYTES};

}  // namespace
