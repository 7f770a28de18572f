// The identity of a data set: a short hash of its ground truth, kept in a
// file of its own in the data folder. vireo-score compares the identities
// of the folder the results were run on, of the ground truth and of the
// data folder it is given, so that results are never scored against
// another data set's truth that happens to use the same file names.
#ifndef VIREO_DATAGEN_DATA_SET_ID_H
#define VIREO_DATAGEN_DATA_SET_ID_H

#include <string>

namespace Vireo::Datagen {

constexpr const char* kDataSetIdFile = "dataset.id";

// 16 lower-case hexadecimal digits (FNV-1a, 64 bits, of the truth's text):
// the same data set always gets the same identity, another one another.
std::string DataSetIdOf(const std::string& truthText);

// Writes folder/dataset.id whole or not at all (WriteFileAtomically); false
// with the reason in `error`.
bool WriteDataSetId(const std::string& folder, const std::string& truthText, std::string& error);

// The identity kept in folder/dataset.id, or "" when there is none.
std::string ReadDataSetId(const std::string& folder);

}  // namespace Vireo::Datagen

#endif  // VIREO_DATAGEN_DATA_SET_ID_H
