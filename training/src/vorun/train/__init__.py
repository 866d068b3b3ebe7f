"""Training of the speech denoiser.

    python3 -m vorun.train --data build/training-data --output build/speech [--config FILE]

network     the network and its framing
losses      what is made small
config      all settings, in one JSON file
validation  voices and noises on which the best weights are chosen
trainer     steps and checkpoints
curves, card   what is written of it
"""
