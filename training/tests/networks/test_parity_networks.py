"""Random networks of every layer: sequence, stream and engine give the same, call by call.

The engine computes in single precision, the other two in double: the bound is 1e-5 of the largest
value that comes out. VORUN_RANDOM_NETWORKS asks for more seeds.
"""

import os

import pytest

from parity import compare, frames_of
from random_networks import RandomNetwork
from vorun.model_file import RECORD_CLASSES

SEEDS = range(int(os.environ.get("VORUN_RANDOM_NETWORKS", "64")))


@pytest.mark.parametrize("seed", SEEDS)
def test_random_network(seed, library, tmp_path):
    network = RandomNetwork(seed)
    x = frames_of(seed, 40, *network.input_shape)
    compare(network, x, library, str(tmp_path / "m"), fold=seed % 2 == 0)


def test_the_seeds_hold_every_layer_and_join():
    kinds, records = set(), set()
    for seed in range(64):
        network = RandomNetwork(seed)
        kinds |= set(network.kinds)
        records |= {type(layer.record("n", ["input"], 1)) for layer in network.layers}
    assert kinds == set(RandomNetwork.KINDS)
    assert records == set(RECORD_CLASSES.values())
