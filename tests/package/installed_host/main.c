/* Prints the first bus of a model and the latency of a mono stream through it. */

#include <stdio.h>
#include <vorun/vorun.h>

int main(int argc, char** argv) {
    ProcessorHandle processor = argc == 2 ? vorunCreateProcessor(argv[1], 1, 48000.0) : NULL;
    if (processor == NULL) {
        return 1;
    }
    char name[32];
    VorunProcessorInfo info;
    vorunGetOutputBusName(processor, 0, name, sizeof name);
    vorunGetProcessorInfo(processor, &info);
    printf("%s %d\n", name, info.latency);
    vorunDeleteProcessor(processor);
    return 0;
}
