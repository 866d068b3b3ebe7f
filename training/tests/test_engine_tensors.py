"""Tensors through the engine, against sums by hand."""

from pathlib import Path

import numpy as np
import pytest

from model_samples import sample_model
from vorun.engine import EngineError, Library, TensorModel
from vorun.engine.library import SIGNATURES
from vorun.model_file import ConvRecord, DenseRecord, ElementType, ModelFile, TensorBlock


def convolution(weights, lookahead: int = 0, element_type=ElementType.SINGLE) -> ModelFile:
    block = TensorBlock.of(weights, element_type)
    record = ConvRecord("c", ["input"], block, None, lookahead=lookahead)
    return ModelFile(layers=[record], output_source="c")


def test_a_model_of_no_layers_gives_its_input(library, save):
    frames = np.arange(24, dtype=np.float32).reshape(4, 3, 2)
    with TensorModel(save(ModelFile()), library) as model:
        assert np.array_equal(model.push(frames), frames)


def test_frames_stay_from_call_to_call_until_a_reset(library, save):
    with TensorModel(save(convolution([[[[10.0]]], [[[1.0]]]])), library) as model:
        assert model.push([[[1.0]], [[2.0]]]).ravel().tolist() == [1, 12]
        assert model.push([[[3.0]]]).ravel().tolist() == [23]
        model.reset()
        assert model.push([[[4.0]]]).ravel().tolist() == [4]


def test_nothing_comes_out_while_a_look_ahead_fills(library, save):
    with TensorModel(save(convolution([[[[2.0]]]], lookahead=1)), library) as model:
        assert model.info.latency == 1
        assert model.push([[[5.0]]]).shape == (0, 0, 0)
        assert model.push([[[6.0]]]).tolist() == [[[12.0]]]


def test_single_frames_give_what_a_block_gives(library, save):
    frames = np.arange(10, dtype=np.float32).reshape(5, 2, 1)
    with TensorModel(save(convolution([[[[2.0]]]], lookahead=2)), library) as model:
        assert model.push_each(frames).tolist() == (2 * frames[2:]).tolist()
        model.reset()
        assert model.push(frames).tolist() == (2 * frames[2:]).tolist()
        model.reset()
        assert model.push_each(frames[:2]).shape == (0, 0, 0)


def test_arrays_of_any_layout_and_type_are_taken(library, save):
    frames = np.arange(24.0).reshape(2, 3, 4).transpose(2, 1, 0)
    with TensorModel(save(ModelFile()), library) as model:
        assert np.array_equal(model.push(frames), frames)
        assert np.array_equal(model.push(frames[::2]), frames[::2])


def test_halves_are_expanded_as_they_were_written(library, save):
    words = np.array([1.0, 65536.0, 131008.0, 2.0**-24, -0.5])
    model = convolution(words.reshape(1, 1, 1, -1), element_type=ElementType.HALF)
    with TensorModel(save(model), library) as engine:
        assert engine.push([[[1.0]]]).ravel().tolist() == words.tolist()


@pytest.mark.parametrize("version", range(4100, 4106))
def test_the_engine_loads_every_record_of_every_version(library, save, version):
    frames = np.linspace(0.1, 1, 12, dtype=np.float32).reshape(3, 4, 1)
    with TensorModel(save(sample_model(version)), library) as model:
        result = model.push_each(frames)
        assert result.shape == (3, 4, 2) and np.all(np.isfinite(result))
        info = model.info
        assert (info.sample_rate, info.fft_size, info.hop_size) == (44100.5, 6, 3)
        assert info.window_size == (5 if version >= 4101 else 6)


def test_what_a_layer_cannot_take_is_an_exception_and_not_the_end(library, save):
    assert library.is_guarded
    model = ModelFile(layers=[DenseRecord("d", ["input"], np.ones((2, 2, 1)))], output_source="d")
    with TensorModel(save(model), library) as engine:
        for _ in range(3):
            with pytest.raises(EngineError, match="dense weights are too few for the input"):
                engine.push(np.ones((1, 3, 1)))
        assert engine.push(np.ones((1, 2, 1))).ravel().tolist() == [2, 2]


def test_shapes_that_are_no_frames_are_refused(library, save):
    with TensorModel(save(ModelFile()), library) as model:
        with pytest.raises(ValueError, match="3 dimensions"):
            model.push(np.ones((3, 2)))


def test_frames_without_values_give_nothing(library, save):
    with TensorModel(save(ModelFile()), library) as model:
        assert model.push(np.zeros((0, 3, 1))).size == 0


def test_a_refused_file_is_told_with_the_reason(library, save, tmp_path):
    path = Path(save(convolution([[[[2.0]]]])))
    path.write_bytes(path.read_bytes()[:-3])
    with pytest.raises(EngineError, match="file ends inside output_source"):
        TensorModel(path, library)
    with pytest.raises(EngineError, match="No such file"):
        TensorModel(tmp_path / "missing.vorun", library)
    strange = ConvRecord("c", ["input"], np.ones((1, 1, 1, 1)), time_stride=0)
    with pytest.raises(EngineError, match="refused by the engine"):
        TensorModel(save(ModelFile(layers=[strange])), library)


def test_a_closed_model_is_not_used(library, save):
    model = TensorModel(save(ModelFile()), library)
    model.close()
    model.close()
    for call in (model.reset, lambda: model.push(np.ones((1, 1, 1))), lambda: model.info):
        with pytest.raises(EngineError, match="closed"):
            call()


def test_without_a_guard_calls_work_all_the_same(library, save, monkeypatch, tmp_path):
    monkeypatch.setenv("XDG_CACHE_HOME", str(tmp_path / "cache"))
    monkeypatch.setenv("CXX", "/nonexistent/compiler")
    with pytest.warns(RuntimeWarning, match="ends the process"):
        unguarded = Library(library.path)
    assert not unguarded.is_guarded
    with TensorModel(save(ModelFile()), unguarded) as model:
        assert model.push([[[1.0]]]).tolist() == [[[1.0]]]


def test_the_guard_is_compiled_once(library, monkeypatch, tmp_path):
    monkeypatch.setenv("XDG_CACHE_HOME", str(tmp_path))
    assert Library(library.path).is_guarded
    monkeypatch.setenv("CXX", "/nonexistent/compiler")
    assert Library(library.path).is_guarded
    assert len(list((tmp_path / "vorun").iterdir())) == 1


def test_every_exported_function_can_be_called():
    exports = Path(__file__).resolve().parents[2] / "src" / "api" / "exports.txt"
    names = {line for line in exports.read_text().splitlines() if line and line[0] != "#"}
    # The second name of the range function takes the object itself.
    assert names - set(SIGNATURES) == {"_ZN5vorun14ProcessorState17getParameterRangeEiPfS1_"}
    assert set(SIGNATURES) <= names
