// Carries the precompiled headers of the test programs, and nothing else.
