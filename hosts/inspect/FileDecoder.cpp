#include "inspect/FileDecoder.h"

#include <iterator>
#include <stdexcept>
#include <utility>

#include "inspect/LayerKinds.h"
#include "inspect/Printable.h"

namespace vorun::inspect {
namespace {

constexpr std::int32_t firstVersionWithWindowSize = 4101;
constexpr std::int32_t firstVersionWithBusNames = 4102;
constexpr std::int32_t splitFormat = 2;

}  // namespace

void FileDecoder::decode() {
    contents_.fileBytes = reader_.plain().size();
    enter(tagPlace);
    contents_.tag = reader_.plain().ReadString();
    enter("the version");
    contents_.version = reader_.plain().ReadInt32();
    reader_.setVersion(contents_.version);
    enter("the header");
    readHeader();
    const std::int32_t layerCount = reader_.plain().ReadInt32();
    for (std::int32_t i = 0; i < layerCount; ++i) {
        readLayer(i);
    }
    enter("the name of the layer that feeds the output");
    contents_.outputSource = reader_.plain().ReadString();
    contents_.outputFeeder = feederOf(contents_.outputSource);
    contents_.readBytes = reader_.plain().position();
}

std::string FileDecoder::placeOf(std::int64_t byte) const {
    // A complaint about a place comes once some of it has been read.
    const auto next = places_.lower_bound(byte);
    return next == places_.begin() ? lastPlace() : std::prev(next)->second;
}

std::string FileDecoder::lastPlace() const {
    return places_.empty() ? tagPlace : places_.rbegin()->second;
}

void FileDecoder::enter(const std::string& place) {
    places_[reader_.plain().position()] = place;
}

void FileDecoder::readHeader() {
    ModelReader& plain = reader_.plain();
    contents_.modelId = plain.ReadInt16();
    contents_.sampleRate = plain.ReadDouble();
    contents_.inputChannels = plain.ReadInt8();
    readFormats();
    contents_.fftSize = plain.ReadInt16();
    contents_.windowSize =
        contents_.version >= firstVersionWithWindowSize ? plain.ReadInt16() : contents_.fftSize;
    contents_.hopSize = plain.ReadInt16();
}

void FileDecoder::readFormats() {
    ModelReader& plain = reader_.plain();
    contents_.inputFormat = plain.ReadInt8();
    contents_.complexInputBins = contents_.inputFormat == splitFormat ? plain.ReadInt16() : 0;
    contents_.inputBins = contents_.complexInputBins + plain.ReadInt16();
    contents_.pipelineMode = plain.ReadInt8();
    contents_.outputChannels = plain.ReadInt8();
    readBusNames();
    contents_.outputFormat = plain.ReadInt8();
    for (int skipped = contents_.outputFormat == splitFormat ? 2 : 1; skipped > 0; --skipped) {
        plain.ReadInt16();
    }
}

void FileDecoder::readBusNames() {
    if (contents_.version < firstVersionWithBusNames) {
        contents_.maskCount = 1;
        contents_.busNames = {"Processed", "Residual"};
        return;
    }
    contents_.maskCount = reader_.plain().ReadInt8();
    for (std::int32_t i = 0; i <= contents_.maskCount; ++i) {
        contents_.busNames.push_back(reader_.plain().ReadString());
    }
}

void FileDecoder::readLayer(std::int32_t index) {
    const std::int64_t start = reader_.plain().position();
    const std::string number = "layer " + std::to_string(index + 1);
    places_[start] = number;
    LayerRecord record;
    record.name = reader_.plain().ReadString();
    places_[start] = number + ", " + quoted(record.name);
    record.type = reader_.plain().ReadInt16();
    const LayerKind* const kind = kindOf(record.type);
    if (kind == nullptr) {
        places_[start] += " of type " + std::to_string(record.type);
        throw std::runtime_error("layer type is unknown");
    }
    places_[start] += " of type " + std::to_string(record.type) + ", " + kind->className;
    readInputs(record, kind->hasSeveralInputs);
    kind->read(reader_, record);
    // A record may take the name of the model's input: from there on the name means the record.
    layers_[record.name] = static_cast<int>(contents_.layers.size());
    contents_.layers.push_back(std::move(record));
}

void FileDecoder::readInputs(LayerRecord& record, bool hasSeveral) {
    const std::int32_t count = hasSeveral ? reader_.plain().ReadInt16() : 1;
    for (std::int32_t i = 0; i < count; ++i) {
        record.inputs.push_back(reader_.plain().ReadString());
        record.feeders.push_back(feederOf(record.inputs.back()));
    }
}

int FileDecoder::feederOf(const std::string& name) const {
    const auto found = layers_.find(name);
    if (found == layers_.end()) {
        throw std::runtime_error("no earlier layer has the name " + quoted(name));
    }
    return found->second;
}

}  // namespace vorun::inspect
