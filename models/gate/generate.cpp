// Writes the spectral gate to the model file that is named on the command line.
#include <cstdio>
#include <exception>

#include "gate/SpectralGate.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: vorun-gate-generator FILE\n", stderr);
        return 2;
    }
    try {
        vorun::gate::spectralGate().writeFile(argv[1]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vorun-gate-generator: %s\n", error.what());
        return 1;
    }
    return 0;
}
