// Routines that several families call, and the constant tables of JPEG coefficient order and magnitude categories. They
// are not exported; they check their arguments and report as exported functions do, so that callers can pass a status
// on.
#pragma once

#include "variant.h"

#pragma GCC visibility push(hidden)
namespace ZEL_VARIANT {

// ---- Memory (psalloc) -----------------------------------------------------------------------------------------------
uint8_t* zelsMalloc_8u(int len);  // null where len is below 1 or the allocation fails
void zelsFree(void* ptr);

// ---- Vectors (pscopyca) ---------------------------------------------------------------------------------------------
ZelStatus zelsCopy_8u(const uint8_t* pSrc, uint8_t* pDst, int len);
ZelStatus zelsSet_8u(uint8_t val, uint8_t* pDst, int len);
ZelStatus zelsZero_8u(uint8_t* pDst, int len);
ZelStatus zelsZero_16s(int16_t* pDst, int len);

// ---- Reverse division (psdiv) ---------------------------------------------------------------------------------------
// pDst[i] = val / pSrc[i] in single precision, rounded to nearest, halves to even; 65535 where pSrc[i] is 0 (0 where
// val is 0), and zelStsDivByZeroWrn if any is. Two threads from 2048 elements on.
ZelStatus zelsDivCRev_16u(const uint16_t* pSrc, uint16_t val, uint16_t* pDst, int len);
ZelStatus zelsDivCRev_16u_I(uint16_t val, uint16_t* pSrcDst, int len);

// ---- Regions (picopyca, piconvert02ca, pilogic) ---------------------------------------------------------------------
// The copies check pointers, then size, and no step.
ZelStatus zeliCopy_16s_C1R(const int16_t* pSrc, int srcStep, int16_t* pDst, int dstStep, ZeliSize roiSize);
ZelStatus zeliCopy_32f_C1R(const float* pSrc, int srcStep, float* pDst, int dstStep, ZeliSize roiSize);
// Widening checks the size before the steps. Large regions are written past the cache.
ZelStatus zeliConvert_8u16u_C1R(const uint8_t* pSrc, int srcStep, uint16_t* pDst, int dstStep, ZeliSize roiSize);
ZelStatus zeliAndC_32s_C1R(const int32_t* pSrc, int srcStep, int32_t value, int32_t* pDst, int dstStep,
                           ZeliSize roiSize);
ZelStatus zeliAndC_32s_C1IR(int32_t value, int32_t* pSrcDst, int step, ZeliSize roiSize);

// ---- Blocks (pizigzag) ----------------------------------------------------------------------------------------------
// 64 coefficients from zigzag to natural order.
ZelStatus zeliZigzagInv8x8_16s_C1(const int16_t* pSrc, int16_t* pDst);

// ---- Tables ---------------------------------------------------------------------------------------------------------
// A plain aggregate without member functions: it can be computed at compile time and emits no inline function.
template <class T, int N>
struct Table {
  static constexpr int kSize = N;
  T at[N];
};

// pjzigzag: ITU-T T.81, Figure A.6
extern const Table<int32_t, 64> zigzag_index_Fwd;      // natural position -> zigzag index
extern const Table<int32_t, 72> own_pj_izigzag_index;  // zigzag index -> natural position; 64..71 give 63

// pjhufftbl: magnitude categories, T.81 Table F.1 and Figure F.12
extern const Table<int32_t, 256> own_pj_csize;           // significant bits of 0..255
extern const Table<int32_t, 512> own_pj_eobsize;         // floor(log2 n), 0 for 0
extern const Table<int32_t, 16> own_pj_lowest_coef;      // 1 - 2^s
extern const Table<int32_t, 16> own_pj_extend_offset;    // 1 - 2^s
extern const Table<int32_t, 16> own_pj_extend_test;      // 2^(s-1), 0 for s = 0
extern const Table<int32_t, 16> own_pj_twoexpnminusone;  // 2^(s-1), 0 for s = 0

}  // namespace ZEL_VARIANT
#pragma GCC visibility pop
