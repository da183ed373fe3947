// Magnitude categories (ITU-T T.81, Annex F.1.2.1) and the EXTEND procedure's constants (Figure F.12), by table.
#include "frame/support.h"

namespace ZEL_VARIANT {
namespace {

constexpr int32_t significantBits(int32_t m) { return m == 0 ? 0 : 1 + significantBits(m >> 1); }

template <int N, class Rule>
constexpr Table<int32_t, N> tabulate(Rule rule) {
  Table<int32_t, N> t{};
  for (int i = 0; i < N; ++i) t.at[i] = rule(i);
  return t;
}

constexpr auto kLowest = tabulate<16>([](int s) { return 1 - (1 << s); });
constexpr auto kHalfRange = tabulate<16>([](int s) { return s == 0 ? 0 : 1 << (s - 1); });

static_assert(kLowest.at[3] == -7 && kLowest.at[15] == -32767 && kHalfRange.at[15] == 16384);

}  // namespace

constexpr Table<int32_t, 256> own_pj_csize = tabulate<256>([](int m) { return significantBits(m); });
constexpr Table<int32_t, 512> own_pj_eobsize = tabulate<512>([](int n) { return n == 0 ? 0 : significantBits(n) - 1; });
constexpr Table<int32_t, 16> own_pj_lowest_coef = kLowest;
constexpr Table<int32_t, 16> own_pj_extend_offset = kLowest;
constexpr Table<int32_t, 16> own_pj_extend_test = kHalfRange;
constexpr Table<int32_t, 16> own_pj_twoexpnminusone = kHalfRange;

}  // namespace ZEL_VARIANT
