"""How well a model restores speech, measured through the engine's shared library.

    python3 -m vorun.evaluation MODEL --out DIR

si_sdr, stoi    the two measures, from their published definitions
noises, voices  the material: recorded voices and families of noise that no training may use
items           the files that are measured
systems, peers  what is measured: the engine, an ideal mask, and other programs
measures        what is taken from each file
steadiness      silence, ten minutes of audio, other host rates
performance     time, latency, size
evaluation      one model measured whole
goals           what a speech denoiser has to reach
results, tables, pictures, report   what is written of it
"""
