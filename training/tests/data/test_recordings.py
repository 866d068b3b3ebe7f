"""The user's folders: any rate and format, and a split that never tears a voice apart."""

import numpy as np
import pytest
import soundfile

from vorun.data.corpus import SPEECH, Clips, make_shards
from vorun.data.recipe import make, recorded_shards
from vorun.data.recordings import Recording, find_recordings, read_pieces
from vorun.data.voices import TRAINING, VALIDATION

FORMATS = [("wav", "PCM_16", 16000, 1), ("wav", "FLOAT", 96000, 2), ("flac", "PCM_24", 44100, 1),
           ("ogg", "VORBIS", 22050, 2), ("aiff", "PCM_S8", 8000, 3), ("wav", "ULAW", 11025, 1),
           ("wav", "PCM_16", 48000, 1)]


def write(path, rate, channels=1, subtype="PCM_16", seconds=0.6, hertz=440):
    path.parent.mkdir(parents=True, exist_ok=True)
    tone = 0.5 * np.sin(2 * np.pi * hertz * np.arange(int(seconds * rate)) / rate)
    others = np.zeros((len(tone), channels - 1))
    soundfile.write(path, np.column_stack([tone, others]), rate, subtype=subtype)


@pytest.mark.parametrize("ending, subtype, rate, channels", FORMATS)
def test_every_format_comes_as_its_first_channel_at_48_khz(tmp_path, ending, subtype, rate,
                                                           channels):
    write(tmp_path / f"a.{ending}", rate, channels, subtype)
    (piece,) = read_pieces(find_recordings(tmp_path)[0])
    assert piece.dtype == np.float32 and abs(len(piece) - 28800) <= 48000 / rate
    spectrum = np.abs(np.fft.rfft(piece * np.hanning(len(piece))))
    loudest = np.argmax(spectrum) * 48000 / len(piece)
    assert loudest == pytest.approx(440, abs=2)
    assert np.sqrt(np.mean(piece[4800:-4800] ** 2)) == pytest.approx(0.3536, rel=0.05)


def test_long_files_come_in_pieces(tmp_path):
    write(tmp_path / "long.wav", 8000, seconds=45)
    pieces = list(read_pieces(find_recordings(tmp_path)[0]))
    assert [len(piece) for piece in pieces] == [960000, 960000, 240000]


def test_a_damaged_file_is_named(tmp_path):
    (tmp_path / "broken.wav").write_bytes(b"RIFF....")
    with pytest.raises(ValueError, match="broken.wav"):
        list(read_pieces(find_recordings(tmp_path)[0]))


def test_a_folder_without_recordings_is_told(tmp_path):
    (tmp_path / "notes.txt").write_text("none")
    with pytest.raises(ValueError, match="no recordings"):
        find_recordings(tmp_path)


def test_files_of_one_voice_stay_together(tmp_path):
    for voice in range(40):
        for take in range(3):
            write(tmp_path / f"v{voice}" / "deep" / f"{take}.wav", 8000, seconds=0.1)
    found = find_recordings(tmp_path)
    assert len(found) == 120 and {item.group for item in found} == {f"v{k}" for k in range(40)}
    splits = {item.group: set() for item in found}
    for item in found:
        splits[item.group].add(item.split)
    assert all(len(split) == 1 for split in splits.values())
    assert {next(iter(split)) for split in splits.values()} == {TRAINING, VALIDATION}


def test_own_recordings_become_clips(tmp_path):
    name = next(f"{k}.wav" for k in range(99)
                if Recording(tmp_path, f"{k}.wav").split == TRAINING)
    write(tmp_path / "own" / name, 16000)
    make_shards(tmp_path / "clips", recorded_shards(SPEECH, [tmp_path / "own"]), make, jobs=1)
    clips = Clips(tmp_path / "clips", TRAINING, SPEECH)
    assert clips.names == [name] and clips.length(0) == 28800
