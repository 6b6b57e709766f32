// The daemon's own MD5, used by firmware builds without libmd, must give the same digests
// as libmd's (and as RFC 1321) for every length and every way of feeding the bytes.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "platform/md5.h"
#include "unit/md5_vectors.h"

#ifndef TELEM_BUILTIN_MD5
#include <md5.h>
#endif

namespace {

std::string hex(const uint8_t* digest) {
    static constexpr char kHex[] = "0123456789abcdef";
    std::string out;
    for (std::size_t i = 0; i < builtin_md5::kDigestLength; ++i) {
        out.push_back(kHex[digest[i] >> 4]);
        out.push_back(kHex[digest[i] & 0x0f]);
    }
    return out;
}

// Feeds `data` in pieces of `chunk` bytes (0: all at once).
std::string builtin_digest(std::string_view data, std::size_t chunk = 0) {
    builtin_md5::MD5_CTX ctx;
    builtin_md5::MD5Init(&ctx);
    const auto* bytes = reinterpret_cast<const uint8_t*>(data.data());
    if (chunk == 0) chunk = data.size() + 1;
    for (std::size_t at = 0; at < data.size(); at += chunk) {
        builtin_md5::MD5Update(&ctx, bytes + at, std::min(chunk, data.size() - at));
    }
    uint8_t digest[builtin_md5::kDigestLength];
    builtin_md5::MD5Final(digest, &ctx);
    return hex(digest);
}

}  // namespace

TEST(BuiltinMd5, Rfc1321TestSuite) {
    for (const auto& [text, digest] : md5_vectors::kRfc1321Suite)
        EXPECT_EQ(builtin_digest(text), digest) << text;
}

// Lengths around the 56- and 64-byte padding boundaries, fed whole and byte by byte.
TEST(BuiltinMd5, PaddingBoundariesGiveTheSameDigestHoweverTheBytesAreFed) {
    for (std::size_t len : {55u, 56u, 57u, 63u, 64u, 65u, 119u, 120u, 128u}) {
        std::string data(len, 'x');
        std::string whole = builtin_digest(data);
        EXPECT_EQ(builtin_digest(data, 1), whole) << len;
        EXPECT_EQ(builtin_digest(data, 7), whole) << len;
        EXPECT_EQ(builtin_digest(data, 64), whole) << len;
    }
    EXPECT_EQ(builtin_digest(std::string(64, 'a')), "014842d480b571495a4a0363793f7367");
}

#ifndef TELEM_BUILTIN_MD5
// libmd is the implementation the daemon uses on this machine: the two agree on random
// inputs of every length up to three blocks and beyond.
TEST(BuiltinMd5, AgreesWithLibmdOnRandomInput) {
    std::mt19937 rng(1321);
    for (std::size_t len = 0; len < 300; ++len) {
        std::string data(len, '\0');
        for (char& c : data) c = char(rng());
        ::MD5_CTX ctx;
        ::MD5Init(&ctx);
        ::MD5Update(&ctx, reinterpret_cast<const uint8_t*>(data.data()), data.size());
        uint8_t digest[MD5_DIGEST_LENGTH];
        ::MD5Final(digest, &ctx);
        ASSERT_EQ(builtin_digest(data, 1 + len % 13), hex(digest)) << len;
    }
}
#endif
