#include "tools/qvclip/synth/MXFClipWriter.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tools/qvclip/synth/ByteBuffer.h"
#include "tools/qvclip/synth/HeaderMetadataWriter.h"
#include "tools/qvclip/synth/KLVWriter.h"

namespace synth {

namespace {

using mxf_label::Label;

constexpr uint16_t MajorVersion = 1;
constexpr uint16_t MinorVersion = 2, MinorVersionHeaderIndex = 3;

uint64_t CeilDiv(uint64_t a, uint64_t b) {
    return (a + b - 1) / b;
}

struct PartitionPack {
    Label key;
    uint64_t thisPartition = 0, previousPartition = 0, footerPartition = 0;
    uint64_t headerByteCount = 0, indexByteCount = 0;
    uint32_t indexSID = 0;
    uint64_t bodyOffset = 0;
    uint32_t bodySID = 0;
};

// Where a body partition's content packages lie inside its essence area.
struct EssencePlan {
    uint64_t firstFrame = 0, frameCount = 0;
    uint64_t bodyOffset = 0, size = 0;
    std::vector<uint64_t> fills;  // behind each package
};

class FileOut {
public:
    explicit FileOut(const std::string& path) : stream(path, std::ios::binary | std::ios::trunc) {
        if (!stream) throw std::runtime_error("cannot create " + path);
    }
    void Write(const std::vector<uint8_t>& bytes) {
        stream.write(reinterpret_cast<const char*>(bytes.data()),
                     static_cast<std::streamsize>(bytes.size()));
        if (!stream) throw std::runtime_error("cannot write the clip file");
        position += bytes.size();
    }
    void Close() {
        stream.close();
        if (!stream) throw std::runtime_error("cannot finish the clip file");
    }
    uint64_t position = 0;

private:
    std::ofstream stream;
};

}  // namespace

ClipLayout MXFClipWriter::Write(std::vector<PackageContent>& packages) {
    const SynthOptions& o = plan.options;
    const uint64_t kag = o.kag;
    const uint64_t frames = packages.size();
    const size_t elementCount = 2 + plan.soundElements.size();
    ClipLayout layout;

    // Element sizes; an element that follows one of varying size opens a new slice.
    const auto elementSize = [&](const PackageContent& p, size_t e) -> uint64_t {
        if (e == 0) return p.systemItem.size();
        if (e == 1) return KLVSize(p.picture.size());
        return KLVSize(p.sound[e - 2].size());
    };
    std::vector<DeltaEntry> deltas(elementCount);
    std::vector<size_t> sliceStarts;  // first element of slices 1 on
    for (size_t e = 1; e < elementCount; ++e) {
        const bool varies = std::any_of(packages.begin(), packages.end(), [&](const auto& p) {
            return elementSize(p, e - 1) != elementSize(packages[0], e - 1);
        });
        if (varies) {
            sliceStarts.push_back(e);
            deltas[e] = {static_cast<uint8_t>(sliceStarts.size()), 0};
        } else {
            deltas[e] = {
                deltas[e - 1].slice,
                static_cast<uint32_t>(deltas[e - 1].delta + elementSize(packages[0], e - 1))};
        }
    }
    layout.sliceCount = static_cast<uint8_t>(sliceStarts.size());
    const IndexSegmentWriter segments(o.rateNumerator, o.rateDenominator, deltas,
                                      layout.sliceCount);

    // How the frames are shared out over body partitions and index segments.
    uint64_t perPartition = frames;
    if (o.headerIndex) {
        const uint64_t oneSecond = CeilDiv(o.rateNumerator, o.rateDenominator);
        layout.framesPerSegment = std::clamp<uint64_t>(
            o.segmentFrames ? o.segmentFrames : oneSecond, 1, segments.MaxEntries());
    } else {
        const uint64_t wanted =
            std::max<uint64_t>(o.partitions, CeilDiv(frames, segments.MaxEntries()));
        perPartition = CeilDiv(frames, wanted);
        layout.framesPerSegment = perPartition;
    }
    const uint64_t bodyCount = CeilDiv(frames, perPartition);

    // Essence areas, stream offsets and index entries.
    std::vector<EssencePlan> essence(bodyCount);
    uint64_t bodyOffset = 0;
    for (uint64_t k = 0; k < bodyCount; ++k) {
        EssencePlan& e = essence[k];
        e.firstFrame = k * perPartition;
        e.frameCount = std::min(perPartition, frames - e.firstFrame);
        e.bodyOffset = bodyOffset;
        for (uint64_t i = e.firstFrame; i < e.firstFrame + e.frameCount; ++i) {
            PackageContent& p = packages[i];
            p.entry.streamOffset = bodyOffset + e.size;
            p.entry.sliceOffsets.clear();
            uint64_t inPackage = 0;
            for (size_t el = 0; el < elementCount; ++el) {
                if (std::find(sliceStarts.begin(), sliceStarts.end(), el) != sliceStarts.end())
                    p.entry.sliceOffsets.push_back(static_cast<uint32_t>(inPackage));
                inPackage += elementSize(p, el);
            }
            e.size += inPackage;
            // The essence area starts on the grid, so this aligns to the partition's grid too.
            e.fills.push_back(o.fill ? FillTo(e.size, kag) : 0);
            e.size += e.fills.back();
        }
        bodyOffset += e.size;
    }
    std::vector<IndexEntry> entries;
    entries.reserve(frames);
    for (const PackageContent& p : packages) entries.push_back(p.entry);

    // Index areas by the partition that holds them (0 the header, then the body partitions and the
    // footer): one segment each, or all of them in the header; fill brings them to the grid.
    const auto segmentBytes = [&](uint64_t first, uint64_t count) {
        ByteBuffer out;
        segments.Append(out, uids.NextUUID(), static_cast<int64_t>(first),
                        std::span(entries).subspan(first, count));
        return out.Take();
    };
    const std::vector<uint8_t> headerMetadata = WriteHeaderMetadata(plan, uids);
    const uint64_t headerByteCount =
        headerMetadata.size() + FillTo(kag + headerMetadata.size(), kag);
    std::vector<std::vector<uint8_t>> indexAreas;
    if (o.headerIndex) {
        std::vector<uint8_t> all;
        for (uint64_t first = 0; first < frames; first += layout.framesPerSegment) {
            const auto one = segmentBytes(first, std::min(layout.framesPerSegment, frames - first));
            all.insert(all.end(), one.begin(), one.end());
        }
        indexAreas.push_back(std::move(all));
        indexAreas.resize(bodyCount + 2);
    } else {
        indexAreas.resize(2);
        for (const EssencePlan& e : essence)
            indexAreas.push_back(segmentBytes(e.firstFrame, e.frameCount));
    }
    std::vector<uint64_t> indexByteCounts;
    for (size_t n = 0; n < indexAreas.size(); ++n) {
        const uint64_t size = indexAreas[n].size();
        const uint64_t before = kag + (n == 0 ? headerByteCount : 0);
        indexByteCounts.push_back(size ? size + FillTo(before + size, kag) : 0);
    }

    // Partition offsets.
    const uint64_t partitionCount = bodyCount + 2;
    std::vector<uint64_t> offsets(partitionCount + 1);
    for (uint64_t n = 0; n < partitionCount; ++n) {
        uint64_t size = kag + indexByteCounts[n];
        if (n == 0) size += headerByteCount;
        if (n >= 1 && n <= bodyCount) size += essence[n - 1].size;
        offsets[n + 1] = offsets[n] + size;
    }
    const uint64_t footer = offsets[partitionCount - 1];
    const std::vector<Label> containers = EssenceContainers(plan);

    const auto packBytes = [&](const PartitionPack& pp) {
        ByteBuffer value;
        value.U16(MajorVersion);
        value.U16(o.headerIndex ? MinorVersionHeaderIndex : MinorVersion);
        value.U32(o.kag);
        value.U64(pp.thisPartition);
        value.U64(pp.previousPartition);
        value.U64(pp.footerPartition);
        value.U64(pp.headerByteCount);
        value.U64(pp.indexByteCount);
        value.U32(pp.indexSID);
        value.U64(pp.bodyOffset);
        value.U32(pp.bodySID);
        value.Bytes(mxf_label::OperationalPattern);
        value.U32(static_cast<uint32_t>(containers.size()));
        value.U32(KeySize);
        for (const Label& label : containers) value.Bytes(label);
        ByteBuffer out;
        AppendKLV(out, pp.key, value.Data());
        // The pack and its fill take exactly one KAG: readers find what follows at + KAG.
        if (out.Size() + MinFill > kag) throw std::runtime_error("the KAG is too small for a pack");
        AppendFill(out, kag - out.Size());
        return out.Take();
    };
    const auto areaBytes = [&](const std::vector<uint8_t>& area, uint64_t paddedSize) {
        ByteBuffer out;
        out.Bytes(area);
        AppendFill(out, paddedSize - area.size());
        return out.Take();
    };

    std::filesystem::create_directories(o.outDir);
    FileOut file(plan.Path());
    layout.packages.resize(frames);
    for (uint64_t n = 0; n < partitionCount; ++n) {
        const bool header = n == 0, isFooter = n + 1 == partitionCount;
        PartitionPack pp;
        pp.key = header     ? mxf_label::HeaderPartitionClosedComplete
                 : isFooter ? mxf_label::FooterPartitionClosedComplete
                            : mxf_label::BodyPartitionClosedComplete;
        pp.thisPartition = offsets[n];
        pp.previousPartition = header ? 0 : offsets[n - 1];
        pp.footerPartition = footer;
        pp.headerByteCount = header ? headerByteCount : 0;
        pp.indexByteCount = indexByteCounts[n];
        pp.indexSID = pp.indexByteCount ? EssenceIndexSID : 0;
        pp.bodySID = header || isFooter ? 0 : EssenceBodySID;
        pp.bodyOffset = pp.bodySID ? essence[n - 1].bodyOffset : 0;
        layout.partitions.push_back({offsets[n], pp.bodySID, pp.indexSID,
                                     pp.bodySID ? essence[n - 1].firstFrame : 0,
                                     pp.bodySID ? essence[n - 1].frameCount : 0});
        file.Write(packBytes(pp));
        if (header) file.Write(areaBytes(headerMetadata, headerByteCount));
        if (pp.indexByteCount) file.Write(areaBytes(indexAreas[n], pp.indexByteCount));
        if (!pp.bodySID) continue;

        const EssencePlan& e = essence[n - 1];
        for (uint64_t j = 0; j < e.frameCount; ++j) {
            const uint64_t i = e.firstFrame + j;
            const PackageContent& p = packages[i];
            PackagePlace& place = layout.packages[i];
            place.systemOffset = file.position;
            place.streamOffset = p.entry.streamOffset;
            ByteBuffer out;
            out.Bytes(p.systemItem);
            const auto element = [&](const Label& key, const std::vector<uint8_t>& value) {
                AppendKLV(out, key, value);
                return ValuePlace{file.position + out.Size() - value.size(), value.size()};
            };
            place.picture = element(plan.pictureElement, p.picture);
            for (size_t c = 0; c < p.sound.size(); ++c)
                place.sound.push_back(element(plan.soundElements[c], p.sound[c]));
            AppendFill(out, e.fills[j]);
            file.Write(out.Take());
        }
    }

    if (o.randomIndexPack) {
        ByteBuffer value;
        for (const PartitionPlace& p : layout.partitions) {
            value.U32(p.bodySID);
            value.U64(p.offset);
        }
        // The pack ends with its own length, key included, so that it can be found from the end.
        const uint64_t total = KLVSize(value.Size() + 4);
        value.U32(static_cast<uint32_t>(total));
        ByteBuffer out;
        AppendKLV(out, mxf_label::RandomIndexPack, value.Data());
        file.Write(out.Take());
    }
    layout.fileSize = file.position;
    file.Close();
    return layout;
}

}  // namespace synth
