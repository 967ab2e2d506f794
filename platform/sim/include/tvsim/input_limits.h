// The sizes the simulated TV takes, whoever asks: a control (every front end
// goes through the model facets), a model file, or a client through the TV
// service, whose bus front end checks a client's request with the same calls
// before the platform sees it. Each check throws ControlError InvalidArgument
// with one sentence that names the bound and the size it got.
//
// Sizes are counted as a D-Bus message carries the data, at most: a string
// takes its bytes and 8 more, an integer 4, an int64 8, an argument (tag,
// position, subtag, value) its value's bytes and 24 more.
#pragma once

#include <tvsim/model_value.h>

#include <lomodelapi/argument.h>
#include <lomodelapi/table_types.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace tvsim {

constexpr std::size_t kMaxPathBytes = 1024;                           // a model path
constexpr std::size_t kMaxModelFileNameBytes = 4096;                  // a model file's name (PATH_MAX)
constexpr std::size_t kMaxValueBytes = std::size_t{1} << 20;          // one value, or one write of a vector by index
constexpr std::size_t kMaxSeriesBytes = std::size_t{16} << 20;        // the values of one series together
constexpr std::size_t kMaxRowsBytes = std::size_t{16} << 20;          // a table's rows
constexpr std::size_t kMaxRequestBytes = 4096;                        // an invoke's arguments, an outcome's results,
                                                                      // an iterator's request, a text to seek
constexpr std::size_t kMaxReplyOutcomesBytes = std::size_t{1} << 20;  // a reply's results times its copies

std::size_t sizeOf(const std::string& text);
std::size_t sizeOf(const std::vector<std::string>& texts);
std::size_t sizeOf(const ModelValue& value);
std::size_t sizeOf(const std::vector<lomodelapi::Argument>& arguments);
std::size_t sizeOf(const std::vector<std::vector<std::string>>& rows);

// "A model path is at most 1024 bytes; got 2048."
void requireModelPath(const std::string& path);
void requireModelFileName(const std::string& file);
void requireValue(const ModelValue& value);
void requireValuesByIndex(const std::map<int, int>& byIndex);
void requireValuesByIndex(const std::map<int, std::string>& byIndex);
void requireSeries(const std::vector<ModelValue>& values);
void requireRows(const std::vector<std::vector<std::string>>& rows);
// `what` begins the sentence: "An invoke's arguments are".
void requireArguments(const std::vector<lomodelapi::Argument>& arguments, const std::string& what);
void requireIteratorRequest(const std::vector<lomodelapi::TableSelection>& selections, const std::vector<int>& columns,
                            const std::vector<lomodelapi::TableOrder>& orders);
void requireSeekText(const std::string& cell);

}  // namespace tvsim
