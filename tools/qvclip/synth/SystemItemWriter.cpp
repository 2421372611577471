#include "tools/qvclip/synth/SystemItemWriter.h"

#include <algorithm>
#include <bit>

#include "tools/qvclip/synth/ByteBuffer.h"
#include "tools/qvclip/synth/KLVWriter.h"
#include "tools/qvclip/synth/PictureStructure.h"

namespace synth {

namespace {

using namespace mxf_system_item;

// The package rate: a code for the whole-number rate in bits 5 to 1, bit 0 for the 1001 rates.
uint8_t RateByte(uint32_t base, bool rate1001) {
    constexpr uint32_t Rates[] = {24, 25, 30, 48, 50, 60, 72, 75, 90, 96, 100, 120};
    const auto found = std::find(std::begin(Rates), std::end(Rates), base);
    if (found == std::end(Rates)) return 0;
    const auto code = static_cast<uint8_t>(found - std::begin(Rates) + 1);
    return static_cast<uint8_t>(code << 1 | (rate1001 ? 1 : 0));
}

uint8_t BCD(uint32_t value) {
    return static_cast<uint8_t>((value / 10) << 4 | (value % 10));
}

// One 5-byte pack of the acquisition pack list: an id and four bytes of data.
void Pack(ByteBuffer& out, uint8_t id, uint32_t data) {
    out.U8(id);
    out.U32(data);
}

}  // namespace

SystemItem SystemItemWriter::Write(uint64_t frame, std::span<const uint8_t> picture) const {
    const SynthOptions& o = plan.options;
    ByteBuffer pack;
    pack.U8(static_cast<uint8_t>(BitmapLabel | BitmapCreationStamp | BitmapUserStamp |
                                 BitmapPicture | (o.channels ? BitmapSound : 0)));
    pack.U8(RateByte(plan.timecodeBase, o.rateDenominator == 1001));
    pack.U8(0);   // content package type
    pack.U16(0);  // channel handle
    pack.U16(static_cast<uint16_t>(frame));
    pack.Bytes(mxf_label::ContainerMultiple);

    const ClipDate& d = plan.date;
    const uint64_t timeOfDay =
        (uint64_t{d.hour} * 3600 + d.minute * 60 + d.second) * plan.timecodeBase + frame;
    pack.U8(StampDateTime);
    pack.Bytes(Timecode::FromFrameCount(timeOfDay, plan.timecodeBase, false).Packed(false));
    pack.U8(BCD(d.day));
    pack.U8(BCD(d.month));
    pack.U8(BCD(d.year % 100));
    pack.U8(0);  // a valid date in time zone 0
    pack.Zeros(StampSize - 8);
    pack.U8(StampTimecode);
    pack.Bytes(
        Timecode::FromFrameCount(plan.startTimecode + frame, plan.timecodeBase, plan.dropFrame)
            .Packed(plan.dropFrame));
    pack.Zeros(StampSize - 4);

    ByteBuffer packs;
    packs.U8(7);
    Pack(packs, 0, std::bit_cast<uint32_t>(1.5f + 0.01f * static_cast<float>(frame % 1000)));
    Pack(packs, 1, 35u << 16 | 100);                     // focal length 35, electronic zoom 100
    Pack(packs, 3, 1u << 16 | (2 * plan.timecodeBase));  // shutter 1/(2 x rate)
    Pack(packs, 5, 28u << 16 | 10);                      // f/2.8
    Pack(packs, 6, 0x20u << 24 | 5600u << 8);            // white balance: mode 1, 5600 K
    Pack(packs, 7, 6u << 24);                            // gain 6
    Pack(packs, 9, 800);                                 // ISO 800
    ByteBuffer acquisition;
    AppendKLV(acquisition, mxf_label::AcquisitionPackList, packs.Data());
    auto ranges = FindPictureStructure(o.codec, picture);
    if (o.tiles) {
        // A camera coding in tiles lists each tile beside the slices; here a slice is one tile.
        const size_t listed = ranges.size();
        for (size_t i = 0; i < listed; ++i)
            if (ranges[i].type == mxf_system_item::StructureSlice)
                ranges.push_back(
                    {mxf_system_item::StructureTile, ranges[i].offset, ranges[i].size});
    }
    if (!ranges.empty()) {
        ByteBuffer structure;
        structure.U8(0);  // display offset
        structure.U8(static_cast<uint8_t>(std::min<size_t>(ranges.size(), 255)));
        for (size_t i = 0; i < ranges.size() && i < 255; ++i) {
            structure.U8(ranges[i].type);
            structure.U32(ranges[i].offset);
            structure.U32(ranges[i].size);
        }
        AppendKLV(acquisition, mxf_label::PictureStructure, structure.Data());
    }
    ByteBuffer set;
    set.U8(AcquisitionItemTag);
    set.U16(static_cast<uint16_t>(acquisition.Size()));
    set.Bytes(acquisition.Data());

    return {pack.Take(), set.Take()};
}

std::vector<uint8_t> SystemItem::KLVs() const {
    ByteBuffer item;
    AppendKLV(item, mxf_label::SystemMetadataPack, pack);
    AppendKLV(item, mxf_label::PackageMetadataSet, set);
    return item.Take();
}

}  // namespace synth
