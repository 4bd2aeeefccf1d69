#include "platform/base/Sha256.h"

#include <algorithm>
#include <bit>
#include <span>

namespace zlk::platform {
namespace {

using State = std::array<std::uint32_t, 8>;
constexpr std::size_t blockSize = 64;

// The first 32 fraction bits of the cube roots of the first 64 primes (roundConstants), and of the
// square roots of the first eight primes (startState).
constexpr std::uint32_t roundConstants[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};
constexpr State startState = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                              0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

void addBlock(State& state, std::span<const std::uint8_t, blockSize> block) {
    // The message schedule: the block's 16 big-endian words, extended to one word for each round.
    std::array<std::uint32_t, 64> w;
    for (std::size_t i = 0; i < 16; ++i)
        w[i] = std::uint32_t{block[4 * i]} << 24 | std::uint32_t{block[4 * i + 1]} << 16 |
               std::uint32_t{block[4 * i + 2]} << 8 | block[4 * i + 3];
    for (std::size_t i = 16; i < 64; ++i) {
        const std::uint32_t near = w[i - 2], far = w[i - 15];
        w[i] = (std::rotr(near, 17) ^ std::rotr(near, 19) ^ near >> 10) + w[i - 7] +
               (std::rotr(far, 7) ^ std::rotr(far, 18) ^ far >> 3) + w[i - 16];
    }
    // The 64 rounds change a copy of the state, which is then added to the state.
    auto [a, b, c, d, e, f, g, h] = state;
    for (std::size_t i = 0; i < 64; ++i) {
        const std::uint32_t first = h + (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) +
                                    ((e & f) ^ (~e & g)) + roundConstants[i] + w[i];
        const std::uint32_t second =
            (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
        h = g, g = f, f = e, e = d + first;
        d = c, c = b, b = a, a = first + second;
    }
    const State round{a, b, c, d, e, f, g, h};
    for (std::size_t i = 0; i < state.size(); ++i) state[i] += round[i];
}

}  // namespace

std::array<std::uint8_t, 32> sha256(std::string_view bytes) noexcept {
    State state = startState;
    const std::uint64_t bits = std::uint64_t{bytes.size()} * 8;
    std::array<std::uint8_t, blockSize> block;
    // The message is padded with one bit 1, zeros, and its length in bits in the last eight bytes
    // of a block. Where the bit still fits into a block and the length doesn't, one more block
    // follows.
    for (bool padded = false, last = false; !last;
         bytes.remove_prefix(std::min(bytes.size(), blockSize))) {
        block.fill(0);
        std::size_t used = std::min(bytes.size(), blockSize);
        std::copy_n(bytes.begin(), used, block.begin());
        if (used < blockSize && !padded) {
            block[used++] = 0x80;
            padded = true;
        }
        last = padded && used <= blockSize - 8;
        for (std::size_t i = 0; last && i < 8; ++i)
            block[blockSize - 1 - i] = static_cast<std::uint8_t>(bits >> (8 * i));
        addBlock(state, block);
    }
    std::array<std::uint8_t, 32> digest;
    for (std::size_t i = 0; i < digest.size(); ++i)
        digest[i] = static_cast<std::uint8_t>(state[i / 4] >> (24 - 8 * (i % 4)));
    return digest;
}

}  // namespace zlk::platform
