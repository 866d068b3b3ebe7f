"""Short-time objective intelligibility.

C. H. Taal, R. C. Hendriks, R. Heusdens, J. Jensen: "An algorithm for intelligibility prediction of
time-frequency weighted noisy speech", IEEE Transactions on Audio, Speech and Language Processing
19(7), 2011.

    both signals -> 10 kHz -> frames in which the reference is not silent -> third-octave bands
                 -> segments of 384 ms -> level and clipping -> correlation -> mean
"""

from __future__ import annotations

from math import gcd

import numpy as np
from scipy.signal import resample_poly

SAMPLE_RATE = 10000
FRAME = 256
HOP = 128
FFT_SIZE = 512
BANDS = 15
LOWEST_CENTRE_HZ = 150.0
SEGMENT_FRAMES = 30                 # 384 ms
DYNAMIC_RANGE_DB = 40.0
LOWEST_SDR_DB = -15.0

# A Hann window without its zeros.
_WINDOW = np.hanning(FRAME + 2)[1:-1]


def stoi(reference: np.ndarray, estimate: np.ndarray, sample_rate: int) -> float:
    """0 to 1 for most signals, 1 for a scaled copy; two arrays [samples] at `sample_rate` Hz.

    Raises ValueError if less than 384 ms of the reference is not silent.
    """
    reference, estimate = _resampled(reference, sample_rate), _resampled(estimate, sample_rate)
    if reference.ndim != 1 or reference.shape != estimate.shape:
        raise ValueError(f"two signals of one length are compared, not {reference.shape} and "
                         f"{estimate.shape}")
    clean, degraded = without_silence(reference, estimate)
    clean_bands, degraded_bands = third_octave_bands(clean), third_octave_bands(degraded)
    if clean_bands.shape[1] < SEGMENT_FRAMES:
        raise ValueError("less than 384 ms of the reference is not silent")
    clean_segments, degraded_segments = _segments(clean_bands), _segments(degraded_bands)
    degraded_segments = clipped(clean_segments, degraded_segments)
    return float(np.mean(_correlation(clean_segments, degraded_segments)))


def _resampled(signal: np.ndarray, sample_rate: int) -> np.ndarray:
    signal = np.asarray(signal, np.float64)
    divisor = gcd(SAMPLE_RATE, int(sample_rate))
    return resample_poly(signal, SAMPLE_RATE // divisor, int(sample_rate) // divisor)


def frames_of(signal: np.ndarray) -> np.ndarray:
    """Windowed frames [frames, FRAME] that overlap by half."""
    if len(signal) < FRAME:
        return np.zeros((0, FRAME))
    return np.lib.stride_tricks.sliding_window_view(signal, FRAME)[::HOP] * _WINDOW


def without_silence(reference: np.ndarray,
                    estimate: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
    """Both without the frames in which the reference is 40 dB below its loudest frame."""
    frames, others = frames_of(reference), frames_of(estimate)
    levels = np.linalg.norm(frames, axis=1)
    if not levels.size or levels.max() == 0:
        raise ValueError("the reference is silent")
    kept = levels > levels.max() * 10 ** (-DYNAMIC_RANGE_DB / 20)
    return _overlap_add(frames[kept]), _overlap_add(others[kept])


def _overlap_add(frames: np.ndarray) -> np.ndarray:
    halves = np.zeros((len(frames) + 1, HOP))
    halves[:-1] += frames[:, :HOP]
    halves[1:] += frames[:, HOP:]
    return halves.reshape(-1)


def band_edges() -> np.ndarray:
    """First bin of each third-octave band and the bin behind its last: [BANDS, 2]. Edges go to the
    nearest bin."""
    centres = LOWEST_CENTRE_HZ * 2.0 ** (np.arange(BANDS) / 3)
    edges = centres[:, None] * 2.0 ** (np.array([-1, 1]) / 6)
    return np.round(edges * FFT_SIZE / SAMPLE_RATE).astype(int)


def third_octave_bands(signal: np.ndarray) -> np.ndarray:
    """Magnitudes [BANDS, frames]: the root of the power of each band's bins."""
    power = np.abs(np.fft.rfft(frames_of(signal), FFT_SIZE)) ** 2
    return np.sqrt([power[:, first:end].sum(axis=1) for first, end in band_edges()])


def _segments(bands: np.ndarray) -> np.ndarray:
    """[BANDS, segments, SEGMENT_FRAMES]: one segment ends at each frame."""
    return np.lib.stride_tricks.sliding_window_view(bands, SEGMENT_FRAMES, axis=1)


def clipped(clean: np.ndarray, degraded: np.ndarray) -> np.ndarray:
    """`degraded` at the level of `clean` in each band of each segment (the last axis), and nowhere
    above what a signal-to-distortion ratio of -15 dB allows, so that one bad frame counts once."""
    level = np.linalg.norm(clean, axis=-1, keepdims=True)
    other = np.linalg.norm(degraded, axis=-1, keepdims=True)
    scaled = degraded * np.divide(level, other, out=np.zeros_like(level), where=other > 0)
    return np.minimum(scaled, clean * (1 + 10 ** (-LOWEST_SDR_DB / 20)))


def _correlation(clean: np.ndarray, degraded: np.ndarray) -> np.ndarray:
    """Of the last axis; 0 where either is constant."""
    clean = clean - clean.mean(axis=-1, keepdims=True)
    degraded = degraded - degraded.mean(axis=-1, keepdims=True)
    norms = np.linalg.norm(clean, axis=-1) * np.linalg.norm(degraded, axis=-1)
    products = (clean * degraded).sum(axis=-1)
    return np.divide(products, norms, out=np.zeros_like(products), where=norms > 0)
