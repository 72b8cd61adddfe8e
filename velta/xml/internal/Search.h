// SPDX-License-Identifier: MIT
#pragma once

#include <bit>
#include <cstddef>
#include <string>

#if defined(__SSE2__) || defined(_M_X64)
#define VELTA_XML_SSE2 1
#include <emmintrin.h>
#endif

namespace Velta::Xml {

/// How many characters are compared at once: half a block fits into a vector as bytes; a block has
/// a bit for each.
inline constexpr std::ptrdiff_t kHalfBlock = 16;
inline constexpr std::ptrdiff_t kBlock = 2 * kHalfBlock;

/// One bit for each character of a block.
struct BlockMarks {
  unsigned less;     // "<"
  unsigned greater;  // ">"
  unsigned closing;  // ">" and both quotes
};

#if defined(VELTA_XML_SSE2)
/// The characters of half a block as bytes. Packing saturates: no other character becomes ASCII.
inline __m128i HalfBlockBytes(const wchar_t* block) noexcept {
  const auto* const vectors = reinterpret_cast<const __m128i*>(block);
  if constexpr (sizeof(wchar_t) == 2) {
    return _mm_packus_epi16(_mm_loadu_si128(vectors), _mm_loadu_si128(vectors + 1));
  } else {
    return _mm_packus_epi16(
        _mm_packs_epi32(_mm_loadu_si128(vectors), _mm_loadu_si128(vectors + 1)),
        _mm_packs_epi32(_mm_loadu_si128(vectors + 2), _mm_loadu_si128(vectors + 3)));
  }
}

inline __m128i EqualBytes(__m128i bytes, char c) noexcept {
  return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(c));
}

inline unsigned MaskOf(__m128i found) noexcept {
  return static_cast<unsigned>(_mm_movemask_epi8(found));
}

/// One bit for each character that two half blocks have in common at the same place.
inline unsigned HalfBlockMatch(const wchar_t* left, const wchar_t* right) noexcept {
  const auto* const leftVectors = reinterpret_cast<const __m128i*>(left);
  const auto* const rightVectors = reinterpret_cast<const __m128i*>(right);
  const auto match = [=](int vector) {
    const __m128i a = _mm_loadu_si128(leftVectors + vector);
    const __m128i b = _mm_loadu_si128(rightVectors + vector);
    return sizeof(wchar_t) == 2 ? _mm_cmpeq_epi16(a, b) : _mm_cmpeq_epi32(a, b);
  };
  if constexpr (sizeof(wchar_t) == 2) {
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(match(0), match(1))));
  } else {
    return static_cast<unsigned>(_mm_movemask_epi8(
        _mm_packs_epi16(_mm_packs_epi32(match(0), match(1)), _mm_packs_epi32(match(2), match(3)))));
  }
}
#endif

/// The first `c`, an ASCII character, in a range, or its end.
inline const wchar_t* FindCharacter(const wchar_t* begin, const wchar_t* end, wchar_t c) noexcept {
  // Most runs end before the runtime's search, which is the faster one for long runs, is set up.
  if (end - begin < kHalfBlock) {
    while (begin != end && *begin != c) {
      ++begin;
    }
    return begin;
  }
#if defined(VELTA_XML_SSE2)
  const unsigned mask = MaskOf(EqualBytes(HalfBlockBytes(begin), static_cast<char>(c)));
  if (mask != 0) {
    return begin + std::countr_zero(mask);
  }
  begin += kHalfBlock;
  if (begin == end) {
    return end;
  }
#endif
  const wchar_t* const found =
      std::char_traits<wchar_t>::find(begin, static_cast<std::size_t>(end - begin), c);
  return found != nullptr ? found : end;
}

/// The first "<" or "&" in a range, or its end.
inline const wchar_t* FindMarkup(const wchar_t* begin, const wchar_t* end) noexcept {
#if defined(VELTA_XML_SSE2)
  for (; end - begin >= kHalfBlock; begin += kHalfBlock) {
    const __m128i bytes = HalfBlockBytes(begin);
    const unsigned mask = MaskOf(_mm_or_si128(EqualBytes(bytes, '<'), EqualBytes(bytes, '&')));
    if (mask != 0) {
      return begin + std::countr_zero(mask);
    }
  }
#endif
  while (begin != end && *begin != L'<' && *begin != L'&') {
    ++begin;
  }
  return begin;
}

/// The marks among the next characters, a block of them at most.
inline BlockMarks FindMarks(const wchar_t* begin, const wchar_t* end) noexcept {
#if defined(VELTA_XML_SSE2)
  if (end - begin >= kBlock) {
    BlockMarks marks{};
    for (int half = 0; half < kBlock; half += kHalfBlock) {
      const __m128i bytes = HalfBlockBytes(begin + half);
      const __m128i greater = EqualBytes(bytes, '>');
      const __m128i quotes = _mm_or_si128(EqualBytes(bytes, '"'), EqualBytes(bytes, '\''));
      marks.less |= MaskOf(EqualBytes(bytes, '<')) << half;
      marks.greater |= MaskOf(greater) << half;
      marks.closing |= MaskOf(_mm_or_si128(greater, quotes)) << half;
    }
    return marks;
  }
#endif
  BlockMarks marks{};
  for (unsigned bit = 1; begin != end && bit != 0; ++begin, bit <<= 1) {
    if (*begin == L'<') {
      marks.less |= bit;
    }
    if (*begin == L'>') {
      marks.greater |= bit;
    }
    if (*begin == L'>' || *begin == L'"' || *begin == L'\'') {
      marks.closing |= bit;
    }
  }
  return marks;
}

/// How many characters two texts have in common at their beginnings, 16 at most.
///
/// @param end  of what may be read of both
inline std::ptrdiff_t CommonPrefix(const wchar_t* left, const wchar_t* right,
                                   const wchar_t* end) noexcept {
#if defined(VELTA_XML_SSE2)
  if (end - right >= kHalfBlock && end - left >= kHalfBlock) {
    return std::countr_one(HalfBlockMatch(left, right));
  }
#endif
  std::ptrdiff_t length = 0;
  while (length != kHalfBlock && right + length != end && left[length] == right[length]) {
    ++length;
  }
  return length;
}

}  // namespace Velta::Xml
