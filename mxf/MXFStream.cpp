#include "mxf/MXFStream.h"

#include <algorithm>

#include "foundation/CUAutoLock.h"
#include "mxf/CacheFileStream.h"
#include "mxf/MXFError.h"

namespace {
// A bound on the rounds of the header-held index search; each round adds a segment or ends it,
// so a real file never comes near.
constexpr int kMaxHeaderIndexRounds = 1 << 16;

bool Contains(const CURange& range, uint64_t frame) {
    if (range.location == CUNotFound || range.location < 0 || range.length <= 0) return false;
    const auto start = static_cast<uint64_t>(range.location);
    return frame >= start && frame - start < static_cast<uint64_t>(range.length);
}

// The end of a triplet's value, or 0 when it does not fit 64 bits.
uint64_t ValueEnd(const KLVPacket& packet) {
    uint64_t end = 0;
    return __builtin_add_overflow(packet.valueOffset, packet.length, &end) ? 0 : end;
}
}  // namespace

MXFStream::MXFStream(const CUSharedPtr<CUStringWin>& path) {
    if (!path) throw "MXFStream init error";
    parser = CUCreate<ParseMetaData>();
    bodyPartitions = CUCreate<BodyPartitionArray>();
    scratchPacket = CUCreate<KLVPacket>();
    headerMetadata = CUCreate<HeaderMetadata>();
    if (!parser || !bodyPartitions || !scratchPacket || !headerMetadata)
        throw "MXFStream init error";
    // A file that cannot be opened leaves the cursor without a stream: every read then fails.
    stream = CacheFileStream::Create(path);
    parser->SetStream(stream);
}

uint64_t MXFStream::StreamSize() const {
    return parser->StreamSize();
}

bool MXFStream::SeekTo(uint64_t offset) {
    if (offset >= StreamSize()) return false;
    parser->SetPosition(offset);
    return true;
}

CUSharedPtr<PartitionPack> MXFStream::ReadPartitionPack(uint64_t offset) {
    CUSharedPtr<PartitionPack> pack = CUCreate<PartitionPack>();
    if (!pack || !SeekTo(offset) || !parser->ReadKLV(pack.Get())) return nullptr;
    return pack;
}

uint32_t MXFStream::Open() {
    CUAutoLock guard(parser.Get());
    LoadRandomIndexPack();
    if (randomIndexPack &&
        bodyPartitions->LoadFromRandomIndexPack(randomIndexPack.Get()) != MXFErrorNone)
        return MXFErrorParse;
    if (LoadHeaderPartition() != MXFErrorNone) return MXFErrorParse;
    // Partitions found before a break in the chain stay usable.
    if (!randomIndexPack) LoadPartitionChain();
    if (LoadHeaderMetadata() != MXFErrorNone) return MXFErrorParse;
    frameCount = 0;
    CUSharedPtr<STTrack> first = headerMetadata->GetTrack(0);
    if (!first) return MXFErrorParse;
    frameCount = first->duration > 0 ? static_cast<uint64_t>(first->duration) : 0;
    return MXFErrorNone;
}

uint32_t MXFStream::LoadRandomIndexPack() {
    CUAutoLock guard(parser.Get());
    randomIndexPack = nullptr;
    const uint64_t size = StreamSize();
    uint32_t packLength = 0;
    if (size < 4 || !SeekTo(size - 4) || !parser->ReadUInt32(&packLength) || packLength > size)
        return MXFErrorParse;
    CUSharedPtr<RandomIndexPack> pack = CUCreate<RandomIndexPack>();
    if (!pack) return MXFErrorMemory;
    parser->SetPosition(size - packLength);
    if (!parser->ReadKLV(pack.Get())) return MXFErrorParse;
    randomIndexPack = pack;
    return MXFErrorNone;
}

uint32_t MXFStream::LoadHeaderPartition() {
    CUAutoLock guard(parser.Get());
    headerPartition = CUCreate<PartitionPack>();
    if (!headerPartition) return MXFErrorMemory;

    // The first item of the pack is tried whatever its Body SID.
    if (randomIndexPack && !randomIndexPack->items.empty()) {
        CUSharedPtr<PartitionPack> pack = ReadPartitionPack(randomIndexPack->items[0].byteOffset);
        if (pack && pack->GetKind() == KLVKindHeaderPartition) {
            headerPartition = pack;
            return MXFErrorNone;
        }
    }

    // Otherwise the file is scanned from its start; a run-in (no key at offset 0) ends it.
    parser->SetPosition(0);
    for (;;) {
        const uint64_t before = parser->GetPosition();
        if (!parser->ReadKL(headerPartition.Get())) break;
        const KLVKind kind = headerPartition->GetKind();
        if (kind == KLVKindHeaderPartition) {
            if (parser->ParseValue(headerPartition.Get())) return MXFErrorNone;
            break;
        }
        const uint64_t next = ValueEnd(*headerPartition);
        // A triplet that ran past the end left the packet as it was: no progress, no header.
        if (kind == KLVKindUnknown || next <= before) break;
        parser->SetPosition(next);
    }
    headerPartition = nullptr;
    return MXFErrorParse;
}

uint32_t MXFStream::LoadPartitionChain() {
    CUAutoLock guard(parser.Get());
    if (!headerPartition) return MXFErrorParse;
    uint64_t offset = headerPartition->footerPartition;
    for (;;) {
        CUSharedPtr<PartitionPack> pack = ReadPartitionPack(offset);
        if (!pack) return MXFErrorParse;
        if (pack->bodySID == BodyPartitionArray::kBodySID) bodyPartitions->InsertAtFront(offset);
        const uint64_t previous = pack->previousPartition;
        if (previous == 0) return MXFErrorNone;
        // The chain must walk backwards; one that does not would never end.
        if (previous >= offset) return MXFErrorParse;
        offset = previous;
    }
}

uint32_t MXFStream::LoadPartitionOffsets(uint64_t index) {
    CUAutoLock guard(parser.Get());
    uint64_t fileOffset = 0;
    if (!bodyPartitions->GetFileOffset(index, &fileOffset)) return MXFErrorParse;
    CUSharedPtr<PartitionPack> pack = ReadPartitionPack(fileOffset);
    uint64_t essenceStart = 0;
    if (!pack || !pack->EssenceStart(&essenceStart)) return MXFErrorParse;
    BodyPartitionEntry& entry = bodyPartitions->entries[index];
    if (entry.fileOffset != pack->thisPartition) return 1;
    entry.bodyOffset = pack->bodyOffset;
    entry.essenceOffset = essenceStart;
    entry.flags |= BodyPartitionEntry::kBodyOffsetKnown | BodyPartitionEntry::kEssenceOffsetKnown;
    return MXFErrorNone;
}

uint32_t MXFStream::LoadHeaderMetadata() {
    CUAutoLock guard(parser.Get());
    CUSharedPtr<KLVPacket> packet = CUCreate<KLVPacket>();
    uint64_t start = 0, end = 0;
    if (!packet || !headerPartition || headerPartition->headerByteCount == 0 ||
        !headerPartition->HeaderMetadataStart(&start) ||
        __builtin_add_overflow(start, headerPartition->headerByteCount, &end))
        return MXFErrorParse;
    parser->SetPosition(start);

    bool ok = true;
    do {
        const uint64_t before = parser->GetPosition();
        if (!parser->ReadKL(packet.Get())) {
            ok = false;
            break;
        }
        const KLVKind kind = packet->GetKind();
        if (KLVKindIsStructuralSet(kind)) {
            const uint16_t number = KLVKindStructuralSetNumber(kind);
            if (number == mxf_set::RGBADescriptor) isRGB = 1;
            if (number == mxf_set::CDCIDescriptor) isRGB = 0;
            CUSharedPtr<STMetadataSets> set = CUCreate<STMetadataSets>(*packet);
            ok = set && parser->ParseValue(set.Get());
            if (ok) headerMetadata->AddSet(set);
        } else if (kind == KLVKindPrimerPack) {
            CUSharedPtr<PrimerPack> primer = CUCreate<PrimerPack>(*packet);
            ok = primer && parser->ParseValue(primer.Get());
            if (ok) headerMetadata->primerPack = primer;
        } else if (kind == KLVKindStreamFileSequence) {
            sequenceInfo = CUCreate<StreamFileSequenceInfo>(*packet);
            ok = sequenceInfo && parser->ParseValue(sequenceInfo.Get());
            if (!ok) sequenceInfo = nullptr;
        } else {
            // Index segments, fill, dark metadata: passed over as far as the stream goes.
            const uint64_t next = ValueEnd(*packet);
            if (next > before && next <= StreamSize()) parser->SetPosition(next);
        }
        if (parser->GetPosition() <= before) ok = false;
    } while (ok && parser->GetPosition() < end);
    if (!ok) return MXFErrorParse;

    const uint32_t identifications = headerMetadata->ResolveIdentifications();
    if (identifications != MXFErrorNone) return identifications;
    return headerMetadata->ResolveContentStorage();
}

uint32_t MXFStream::EnsureIndex(uint64_t frame) {
    CUAutoLock guard(parser.Get());
    if (!headerPartition) return MXFErrorParse;
    if (headerPartition->majorVersion == 1 && headerPartition->minorVersion == 3)
        return LoadSegmentForFrame(frame);

    // Each body partition carries about the same share of the clip.
    const uint64_t partitions = bodyPartitions->Count();
    if (partitions == 0) return MXFErrorParse;
    const uint64_t share = frameCount / partitions + (frameCount % partitions != 0);
    if (share == 0) return MXFErrorParse;
    auto partition = static_cast<int64_t>(std::min(frame / share, partitions - 1));
    for (int round = 0; round < kMaxIndexSearchRounds; ++round) {
        const uint32_t loaded = LoadPartitionIndex(partition);
        if (loaded != MXFErrorNone) return loaded;
        const CURange range = bodyPartitions->GetSegmentRange(static_cast<uint64_t>(partition), 0);
        if (range.location == CUNotFound) return MXFErrorParse;
        if (Contains(range, frame)) return MXFErrorNone;
        partition += static_cast<int64_t>(frame) < range.location ? -1 : 1;
    }
    return MXFErrorNone;
}

uint32_t MXFStream::LoadPartitionIndex(int64_t partition) {
    CUAutoLock guard(parser.Get());
    uint8_t flags = 0;
    if (partition < 0 || !bodyPartitions->GetFlags(static_cast<uint64_t>(partition), &flags))
        return MXFErrorParse;
    const auto index = static_cast<uint64_t>(partition);
    constexpr uint8_t kOffsets =
        BodyPartitionEntry::kBodyOffsetKnown | BodyPartitionEntry::kEssenceOffsetKnown;
    if ((flags & kOffsets) != kOffsets) LoadPartitionOffsets(index);
    // A partition's index is read once; the search may pass it again.
    if (bodyPartitions->entries[index].segments.count(0)) return MXFErrorNone;

    // The index of a partition's essence stands in the following partition.
    uint64_t offset = headerPartition->footerPartition;
    if (index + 1 < bodyPartitions->Count()) offset = bodyPartitions->entries[index + 1].fileOffset;
    CUSharedPtr<CUMutableArray> segments = ReadIndexSegments(offset);
    if (!segments || segments->Count() == 0) return MXFErrorParse;
    // A partition is taken to hold one segment for its essence: the last one found.
    bodyPartitions->AddSegment(
        index, 0, CUSharedPtr<IndexTableSegment>(segments->ObjectAtIndex(segments->Count() - 1)));
    return MXFErrorNone;
}

CUSharedPtr<CUMutableArray> MXFStream::ReadIndexSegments(uint64_t offset) {
    CUAutoLock guard(parser.Get());
    CUSharedPtr<PartitionPack> pack = ReadPartitionPack(offset);
    if (!pack) return nullptr;
    CUSharedPtr<CUMutableArray> found = CUCreate<CUMutableArray>();
    uint64_t start = 0, end = 0;
    if (!found || pack->indexByteCount == 0 || !pack->IndexStart(&start)) return found;
    if (__builtin_add_overflow(start, pack->indexByteCount, &end)) end = UINT64_MAX;

    CUSharedPtr<IndexTableSegment> segment = CUCreate<IndexTableSegment>();
    parser->SetPosition(start);
    while (segment && parser->GetPosition() < end) {
        const uint64_t before = parser->GetPosition();
        if (!parser->ReadKL(segment.Get())) break;
        const KLVKind kind = segment->GetKind();
        const uint64_t next = ValueEnd(*segment);
        if (kind == KLVKindUnknown || next <= before) break;
        // A segment that fails to parse is tried again as the next triplet.
        if (kind == KLVKindIndexTableSegment && parser->ParseValue(segment.Get())) {
            found->AddObject(segment);
            segment = CUCreate<IndexTableSegment>();
        }
        parser->SetPosition(next);
    }
    return found;
}

uint32_t MXFStream::LoadSegmentForFrame(uint64_t frame) {
    CUAutoLock guard(parser.Get());
    std::vector<BodyPartitionEntry>& entries = bodyPartitions->entries;
    if (entries.empty()) return MXFErrorParse;
    constexpr uint8_t kOffsets =
        BodyPartitionEntry::kBodyOffsetKnown | BodyPartitionEntry::kEssenceOffsetKnown;
    if ((entries[0].flags & kOffsets) != kOffsets && LoadPartitionOffsets(0) != MXFErrorNone)
        return MXFErrorParse;
    CUSharedPtr<PartitionPack> header = ReadPartitionPack(headerPartition->thisPartition);
    uint64_t base = 0, end = 0;
    if (!header || header->indexByteCount == 0 || !header->IndexStart(&base) ||
        __builtin_add_overflow(base, header->indexByteCount, &end))
        return MXFErrorParse;

    uint64_t position = base;
    uint32_t number = 0;
    for (int round = 0; round < kMaxHeaderIndexRounds; ++round) {
        auto& segments = entries[0].segments;
        auto zero = segments.find(0);
        if (zero != segments.end()) {
            const IndexTableSegment& first = *zero->second;
            if (bodyPartitions->segmentStride != 0) {
                if (first.indexDuration <= 0) return MXFErrorParse;
                const uint64_t wanted = frame / static_cast<uint64_t>(first.indexDuration);
                if (wanted > UINT32_MAX) return MXFErrorParse;
                number = static_cast<uint32_t>(wanted);
                // One seek reaches the wanted segment.
                if (number != 0 &&
                    (__builtin_mul_overflow(number, bodyPartitions->segmentStride, &position) ||
                     __builtin_add_overflow(position, base, &position)))
                    return MXFErrorParse;
            } else {
                number = 1;
                position = ValueEnd(first);
            }
        }

        CUSharedPtr<IndexTableSegment> segment = CUCreate<IndexTableSegment>();
        if (!segment) return MXFErrorMemory;
        for (;;) {
            if (position >= end || !SeekTo(position)) return MXFErrorParse;
            if (!parser->ReadKL(segment.Get())) return MXFErrorParse;
            const KLVKind kind = segment->GetKind();
            if (kind == KLVKindUnknown) return MXFErrorParse;
            const uint64_t next = ValueEnd(*segment);
            if (kind == KLVKindIndexTableSegment && parser->ParseValue(segment.Get())) {
                if (number == 1) bodyPartitions->segmentStride = position - base;
                if (bodyPartitions->AddSegment(0, number, segment) == 0) break;
            }
            if (next <= position) return MXFErrorParse;
            position = next;
        }
        position = end;
        if (segment->Contains(static_cast<int64_t>(frame))) return MXFErrorNone;
    }
    return MXFErrorParse;
}

template <class Ask>
uint32_t MXFStream::LookUp(uint64_t frame, Ask ask) {
    if (frame >= frameCount || frame > static_cast<uint64_t>(INT64_MAX)) return 0;
    if (ask(static_cast<int64_t>(frame))) return 1;
    if (EnsureIndex(frame) != MXFErrorNone) return 0;
    return ask(static_cast<int64_t>(frame)) ? 1 : 0;
}

uint32_t MXFStream::GetFrameFlags(uint64_t frame, uint8_t* out) {
    CUAutoLock guard(parser.Get());
    return LookUp(frame, [&](int64_t f) { return bodyPartitions->GetFrameFlags(f, out); });
}

uint32_t MXFStream::GetFrameEntry(uint64_t frame, int8_t* outTemporal, int8_t* outKeyFrame,
                                  uint8_t* outFlags) {
    CUAutoLock guard(parser.Get());
    return LookUp(frame, [&](int64_t f) {
        return bodyPartitions->GetEntry(f, outTemporal, outKeyFrame, outFlags);
    });
}

uint32_t MXFStream::GetElementFileOffset(uint64_t frame, uint32_t element, uint64_t* out) {
    CUAutoLock guard(parser.Get());
    return LookUp(frame,
                  [&](int64_t f) { return bodyPartitions->GetElementFileOffset(f, element, out); });
}

uint64_t MXFStream::ReadElement(uint64_t frame, uint32_t element, void* buffer, uint64_t size) {
    CUAutoLock guard(parser.Get());
    if (!buffer || frame >= frameCount) return 0;
    uint64_t at = 0;
    if (!GetElementFileOffset(frame, element, &at) || !SeekTo(at)) return 0;
    // A triplet that runs past the end leaves the packet as the last frame left it: the offset
    // tells the two apart, so that no stale value is ever delivered.
    if (!parser->ReadKL(scratchPacket.Get()) || scratchPacket->packetOffset != at) return 0;
    const KLVKind kind = scratchPacket->GetKind();
    if (KLVKindFamily(kind) != KLVKindEssence && kind != KLVKindSystemMetadataPack) return 0;
    const uint64_t valueLength = scratchPacket->length;
    if (valueLength > size || !parser->ReadInto(buffer, valueLength)) return 0;
    uint64_t delivered = valueLength;

    // The system pack travels with the package metadata set behind it.
    if (kind == KLVKindSystemMetadataPack) {
        const uint64_t setAt = parser->GetPosition();
        KLVPacket set;
        if (parser->ReadKL(&set) && set.packetOffset == setAt &&
            set.GetKind() == KLVKindPackageMetadataSet && set.length <= size - delivered &&
            parser->ReadInto(static_cast<uint8_t*>(buffer) + delivered, set.length))
            delivered += set.length;
    }
    return delivered;
}

CUSharedPtr<CUVector<unsigned char>> MXFStream::ReadDataElement(uint64_t frame) {
    CUAutoLock guard(parser.Get());
    CUSharedPtr<CUVector<unsigned char>> data = CUCreate<CUVector<unsigned char>>();
    if (!data || frameCount == 0 || frame >= frameCount) return data;
    const uint64_t tracks = headerMetadata->GetTrackCount();
    uint64_t at = 0;
    if (tracks == 0 || tracks - 1 > UINT32_MAX ||
        !GetElementFileOffset(frame, static_cast<uint32_t>(tracks - 1), &at) || !SeekTo(at))
        return data;
    // A packet of its own, so that the frame reads' scratch packet is left alone.
    KLVPacket packet;
    if (!parser->ReadKL(&packet) || packet.packetOffset != at ||
        packet.GetKind() != KLVKindEssence || packet.length > parser->Remaining())
        return data;
    try {
        data->resize(packet.length);
    } catch (const std::bad_alloc&) {
        return data;
    }
    if (!parser->ReadInto(data->data(), packet.length)) data->clear();
    return data;
}
