#pragma once

#include <string>
#include <vector>

#include "inspect/LayerKinds.h"

/** The routines behind the table of layer types, one file for each family of types. */
namespace vorun::inspect::kinds {

void readConvolution(RecordReader& reader, LayerRecord& record);
Flow followConvolution(const LayerRecord& record, const std::vector<Frames>& inputs);
std::string describeConvolution(const LayerRecord& record);

void readTransposed(RecordReader& reader, LayerRecord& record);
Flow followTransposed(const LayerRecord& record, const std::vector<Frames>& inputs);
std::string describeTransposed(const LayerRecord& record);

void readSeparable(RecordReader& reader, LayerRecord& record);
Flow followSeparable(const LayerRecord& record, const std::vector<Frames>& inputs);
std::string describeSeparable(const LayerRecord& record);

void readDense(RecordReader& reader, LayerRecord& record);
Flow followDense(const LayerRecord& record, const std::vector<Frames>& inputs);
std::string describeDense(const LayerRecord& record);

void readNorm(RecordReader& reader, LayerRecord& record);
Flow followNorm(const LayerRecord& record, const std::vector<Frames>& inputs);
std::string describeNorm(const LayerRecord& record);

void readPreNorm(RecordReader& reader, LayerRecord& record);
Flow followPreNorm(const LayerRecord& record, const std::vector<Frames>& inputs);
std::string describePreNorm(const LayerRecord& record);

void readAttention(RecordReader& reader, LayerRecord& record);
Flow followAttention(const LayerRecord& record, const std::vector<Frames>& inputs);
std::string describeAttention(const LayerRecord& record);

void readNothing(RecordReader& reader, LayerRecord& record);
std::string describeNothing(const LayerRecord& record);
/** ReLU and softplus. */
Flow followInPlace(const LayerRecord& record, const std::vector<Frames>& inputs);
/** ELU and sigmoid, which keep a second tensor. */
/** Hard sigmoid and leaky ReLU: a second tensor, and a product for each value. */
Flow followWithProduct(const LayerRecord& record, const std::vector<Frames>& inputs);
void readSlope(RecordReader& reader, LayerRecord& record);
std::string describeSlope(const LayerRecord& record);

Flow followConcat(const LayerRecord& record, const std::vector<Frames>& inputs);
void readOperation(RecordReader& reader, LayerRecord& record);
Flow followArithmetic(const LayerRecord& record, const std::vector<Frames>& inputs);
std::string describeOperation(const LayerRecord& record);

}  // namespace vorun::inspect::kinds
