#pragma once

#include <cstdint>
#include <vector>

#include "audio/ComplexSignal32.h"
#include "neural/NeuralModel.h"
#include "neural/Tensor.h"

namespace vorun {

/*
 * Spectra and tensors. A feature tensor is [frames, rows, channels]. With cb complexInputBins, one
 * channel's rows are:
 *
 *     row 4b      max(0,  re)   \
 *     row 4b + 1  max(0,  im)    | bins b below cb: four rows that are never negative
 *     row 4b + 2  max(0, -re)    |
 *     row 4b + 3  max(0, -im)   /
 *     row 4cb + (b - cb)  |bin|   bins b from cb to inputBins - 1; 0 above the frame's top bin
 *
 * No logarithm and no normalisation: whatever scaling a network wants is in its own layers.
 */

/** Rows of one channel: inputBins + 3 x complexInputBins. */
std::int32_t featureRows(const NeuralModel<float>& model);

/**
 * Codes frames of one shape into a tensor [frames, featureRows, channels]; none give an empty
 * tensor. Undone by tensorToSpectra().
 *
 * @throws std::runtime_error if the model wants more complex bins than a frame has, or the frames
 *         differ in shape.
 */
Tensor<float> spectrumToTensor(const NeuralModel<float>& model,
                               const std::vector<ComplexSignal32>& frames);

/**
 * Decodes a network's result into one spectrum a frame, of the tensor's channels and `bins` bins;
 * an empty tensor gives none. Undoes the row coding of spectrumToTensor().
 *
 * Bins at or above inputBins, which the network does not cover, get a running level as a real
 * value: a one-pole smoother along frequency over the decoded magnitudes, restarted in each channel
 * of each frame. While the model's `enabled` is false the level stays 0 and clears these bins.
 *
 * @throws std::runtime_error if the tensor holds fewer rows or channels than the header promises.
 */
std::vector<ComplexSignal32> tensorToSpectra(const NeuralModel<float>& model,
                                             const Tensor<float>& tensor, std::int32_t bins);

/**
 * One frame through one network. Reads the frame's buffer only, so that several models may work on
 * it at once.
 *
 * @return the frames that came out, oldest first; none while look-ahead fills.
 */
std::vector<ComplexSignal32> evaluateModel(NeuralModel<float>& model, const ComplexSignal32& frame);

}  // namespace vorun
