// Channel section: eight subsections of one value line per region, written
// field by field into the caller's records.
#include <cstdio>

#include "LineReader.h"
#include "SampleFileKeys.h"
#include "SampleReaders.h"
#include "TextToNumber.h"

namespace {

using Record = StatsBayerGridChannelInfoS;

// Reads one subsection into records[0..regionCount) through store(record,
// text). It ends at the next key (consumed), at the end of the lines, or
// after the last record, when the line that follows is dropped unseen.
template <typename Store>
void ReadSubsection(Vireo::LineReader& reader, size_t subsection, int regionCount, Record* records,
                    Store store) {
    Vireo::Line line;
    if (regionCount < 1) {
        reader.Next(line);
        return;
    }
    const char* ownKey = Vireo::kChannelKeys[subsection];
    const char* nextKey = Vireo::kChannelKeys[subsection + 1];
    Record* const end = records + regionCount;
    Record* record = records;
    while (reader.Next(line)) {
        // Test the next key first: it may contain this subsection's key.
        if (line.MayHoldKey()) {
            if (line.Contains(nextKey)) {
                return;
            }
            if (line.Contains(ownKey)) {
                continue;
            }
        }
        store(*record, line.text);
        if (++record == end) {
            reader.Next(line);
            return;
        }
    }
}

}  // namespace

int32_t Vireo::ParseBGChannelInfo(char* path, int regionCount,
                                  StatsBayerGridChannelInfoS* records) {
    if (records == nullptr) {
        std::puts("Invalid pointer to BayerGrid channel info buffer!");
        return -1;
    }
    LineReader reader(path, LineReader::kLargeChunk);
    if (!reader.IsOpen()) {
        std::printf("Unable to open file:%s\n", path);
        return -1;
    }
    Line line;
    while (reader.Next(line)) {
        if (line.MayHoldKey() && line.Contains(kChannelKeys[0])) {
            break;
        }
    }

    // File order R, G/GR, B, GB; the record's field order differs.
    int64_t Record::*const sums[] = {&Record::rSum, &Record::grSum, &Record::bSum, &Record::gbSum};
    uint16_t Record::*const counts[] = {&Record::rCount, &Record::grCount, &Record::bCount,
                                        &Record::gbCount};
    size_t subsection = 0;
    for (int64_t Record::*sum : sums) {
        ReadSubsection(
            reader, subsection++, regionCount, records,
            [sum](Record& record, const char* text) { record.*sum = TextToInt64(text); });
    }
    for (uint16_t Record::*count : counts) {
        ReadSubsection(
            reader, subsection++, regionCount, records,
            [count](Record& record, const char* text) { record.*count = TextToLow16(text); });
    }
    return 0;
}
