// RFC 1321 MD5, for firmware builds without libmd (see md5.h).
#include <cstring>

#include "platform/md5.h"

namespace builtin_md5 {
namespace {

// Per-round shift amounts and the sine-derived constants of RFC 1321, section 3.4.
constexpr uint32_t kShift[64] = {7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22, 7, 12, 17, 22,
                                 5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20, 5, 9,  14, 20,
                                 4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23, 4, 11, 16, 23,
                                 6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21, 6, 10, 15, 21};

constexpr uint32_t kSine[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

uint32_t rotate_left(uint32_t x, uint32_t n) {
    return (x << n) | (x >> (32 - n));
}

uint32_t load_le32(const uint8_t* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

void store_le32(uint8_t* p, uint32_t v) {
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
    p[2] = uint8_t(v >> 16);
    p[3] = uint8_t(v >> 24);
}

void transform(uint32_t state[4], const uint8_t block[64]) {
    uint32_t m[16];
    for (int i = 0; i < 16; ++i) m[i] = load_le32(block + 4 * i);
    uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
    for (uint32_t i = 0; i < 64; ++i) {
        uint32_t f;
        uint32_t g;
        if (i < 16) {
            f = (b & c) | (~b & d);
            g = i;
        } else if (i < 32) {
            f = (d & b) | (~d & c);
            g = (5 * i + 1) % 16;
        } else if (i < 48) {
            f = b ^ c ^ d;
            g = (3 * i + 5) % 16;
        } else {
            f = c ^ (b | ~d);
            g = (7 * i) % 16;
        }
        uint32_t next_d = c;
        c = b;
        b = b + rotate_left(a + f + kSine[i] + m[g], kShift[i]);
        a = d;
        d = next_d;
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
}

}  // namespace

void MD5Init(MD5_CTX* ctx) {
    ctx->state[0] = 0x67452301;
    ctx->state[1] = 0xefcdab89;
    ctx->state[2] = 0x98badcfe;
    ctx->state[3] = 0x10325476;
    ctx->count = 0;
}

void MD5Update(MD5_CTX* ctx, const uint8_t* data, std::size_t len) {
    std::size_t used = ctx->count % 64;
    ctx->count += len;
    if (used != 0) {
        std::size_t take = 64 - used < len ? 64 - used : len;
        std::memcpy(ctx->buffer + used, data, take);
        data += take;
        len -= take;
        if (used + take < 64) return;
        transform(ctx->state, ctx->buffer);
    }
    for (; len >= 64; data += 64, len -= 64) transform(ctx->state, data);
    if (len != 0) std::memcpy(ctx->buffer, data, len);
}

void MD5Final(uint8_t digest[kDigestLength], MD5_CTX* ctx) {
    // Padding: one 0x80 byte, zeros up to 56 mod 64, then the message length in bits.
    uint8_t length_le[8];
    uint64_t bits = ctx->count * 8;
    for (int i = 0; i < 8; ++i) length_le[i] = uint8_t(bits >> (8 * i));
    static constexpr uint8_t kPadding[64] = {0x80};
    std::size_t used = ctx->count % 64;
    MD5Update(ctx, kPadding, used < 56 ? 56 - used : 120 - used);
    MD5Update(ctx, length_le, sizeof length_le);
    for (int i = 0; i < 4; ++i) store_le32(digest + 4 * i, ctx->state[i]);
    std::memset(ctx, 0, sizeof *ctx);
}

}  // namespace builtin_md5
