#include "lut/lutcolorcoefficients.h"
#include "tests/lut/lutframetest.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using namespace luttest;

// One set as listed in the colour-conversion tables.
struct Expected {
    uint8_t lumaOffset;
    uint16_t gains[5];   // luma, V to R, U to G, V to G, U to B
    uint8_t yWeights[3]; // R, G, B
    uint16_t uWeights[3];
    uint16_t vWeights[3];
};

template <typename T, size_t N>
void expectLanes(const T (&lanes)[N], unsigned value, const char* what)
{
    for (size_t i = 0; i < N; ++i)
        EXPECT_EQ(lanes[i], value) << what << " lane " << i;
}

void expectSet(const LutColorCoefficients& k, const Expected& e)
{
    expectLanes(k.lumaOffset, e.lumaOffset, "luma offset");
    expectLanes(k.chromaOffset, 128, "chroma offset");
    expectLanes(k.eight, 8, "eight");
    const uint16_t(*gains[])[8] = {&k.lumaGain, &k.vToR, &k.uToG, &k.vToG, &k.uToB};
    for (int i = 0; i < 5; ++i)
        expectLanes(*gains[i], e.gains[i], "gain");
    const uint16_t(*weights[])[4] = {&k.rToU, &k.gToU, &k.bToU, &k.rToV, &k.gToV, &k.bToV};
    for (int i = 0; i < 3; ++i) {
        expectLanes(*weights[i], e.uWeights[i], "U weight");
        expectLanes(*weights[3 + i], e.vWeights[i], "V weight");
    }
    expectLanes(k.rToY, e.yWeights[0], "R to Y");
    expectLanes(k.gToY, e.yWeights[1], "G to Y");
    expectLanes(k.bToY, e.yWeights[2], "B to Y");
}

const Expected kBt601Limited = {16, {9539, 13075, 3209, 6660, 16525}, {66, 129, 25}, {38, 74, 112}, {112, 94, 18}};
const Expected kBt709Limited = {16, {9539, 14686, 1747, 4366, 17305}, {47, 157, 16}, {26, 87, 112}, {112, 102, 10}};
const Expected kBt601Full = {0, {8192, 11530, 2830, 5873, 14573}, {77, 150, 29}, {43, 84, 127}, {127, 107, 21}};
const Expected kBt709Full = {0, {8192, 12952, 1541, 3850, 15261}, {54, 183, 18}, {29, 98, 127}, {127, 116, 12}};

class Record {
public:
    Record() : k(static_cast<LutColorCoefficients*>(lutAlignedAlloc(sizeof(LutColorCoefficients))))
    {
        memset(k, 0xCD, sizeof(*k));
    }
    ~Record() { lutAlignedFree(k); }
    LutColorCoefficients* k;
};

TEST(LutColorCoefficients, FourSetsByStandardAndRange)
{
    Record r;
    lutColorCoefficientsFill(r.k, 0, 0, nullptr);
    expectSet(*r.k, kBt601Limited);
    lutColorCoefficientsFill(r.k, 1, 0, nullptr);
    expectSet(*r.k, kBt709Limited);
    lutColorCoefficientsFill(r.k, 0, 1, nullptr);
    expectSet(*r.k, kBt601Full);
    lutColorCoefficientsFill(r.k, 1, 1, nullptr);
    expectSet(*r.k, kBt709Full);

    // Any non-zero standard is BT.709.
    lutColorCoefficientsFill(r.k, 5, 1, nullptr);
    expectSet(*r.k, kBt709Full);
    // Range 2: full-range gains and weights, but the luma offset stays 16.
    Expected mixed = kBt709Full;
    mixed.lumaOffset = 16;
    lutColorCoefficientsFill(r.k, 1, 2, nullptr);
    expectSet(*r.k, mixed);

    // Bytes 168..175 are never written; without a table neither is the scale.
    const uint8_t* bytes = reinterpret_cast<const uint8_t*>(r.k);
    for (size_t i = 168; i < 192; ++i)
        EXPECT_EQ(bytes[i], 0xCD) << i;
}

TEST(LutColorCoefficients, LevelScaleOnlyForUniformTables)
{
    // (N - 1) / 255 * 32768 truncated: 128.5, 2056.03, 4112.06, 8224.13.
    const std::pair<uint32_t, unsigned> scales[] = {{2, 128}, {17, 2056}, {33, 4112}, {65, 8224}};
    for (const auto& s : scales) {
        std::vector<uint8_t> grid(size_t(s.first) * s.first * s.first * 3);
        TablePtr t(lutTableCreate(evenLevels(s.first).data(), s.first, grid.data()));
        ASSERT_TRUE(t && t->uniform);
        Record r;
        lutColorCoefficientsFill(r.k, 0, 0, t.get());
        expectLanes(r.k->levelScale, s.second, "level scale");
    }

    std::vector<uint8_t> grid(17 * 17 * 17 * 3);
    TablePtr uneven(lutTableCreate(unevenLevels(17).data(), 17, grid.data()));
    ASSERT_TRUE(uneven && !uneven->uniform);
    Record r;
    lutColorCoefficientsFill(r.k, 1, 1, uneven.get());
    expectLanes(r.k->levelScale, 0xCDCD, "untouched level scale");
}

} // namespace
