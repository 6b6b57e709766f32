// MD5 (RFC 1321) under the maker library's names: MD5Init, MD5Update, MD5Final.
//
// On a development machine the daemon uses libmd's implementation. A firmware whose
// package feed has no libmd builds with TELEM_BUILTIN_MD5 and gets the one in
// md5_builtin.cpp instead, which is always compiled (namespace builtin_md5) so the
// tests can hold it against libmd's on every build.
#pragma once

#include <cstddef>
#include <cstdint>

namespace builtin_md5 {

constexpr std::size_t kDigestLength = 16;

struct MD5_CTX {
    uint32_t state[4];
    uint64_t count;  // bytes hashed so far
    uint8_t buffer[64];
};

void MD5Init(MD5_CTX* ctx);
void MD5Update(MD5_CTX* ctx, const uint8_t* data, std::size_t len);
void MD5Final(uint8_t digest[kDigestLength], MD5_CTX* ctx);

}  // namespace builtin_md5

#ifdef TELEM_BUILTIN_MD5
using builtin_md5::MD5_CTX;
using builtin_md5::MD5Final;
using builtin_md5::MD5Init;
using builtin_md5::MD5Update;
#define MD5_DIGEST_LENGTH 16
#else
#include <md5.h>
#endif
