"""Material for training: speech, noise, and mixtures of them.

    python3 -m vorun.data --output build/training-data [--speech DIR] [--noise DIR]

voices      the synthesised voices and their splits
sentences   what they say
synthesis   the programs that speak
humanise    their speech, more like people's
noises      families of noise
recordings  folders of the user's own
corpus      clips in shards, made once
recipe      what a corpus holds
rooms, levels, mixing   speech in noise, drawn anew for each step
"""
