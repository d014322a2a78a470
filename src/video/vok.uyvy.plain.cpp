// The rows of the pixel formats as any processor of the family runs them.
#define VOKRA_ISA plain
#include "video/vok.uyvy.kernels.cpp"
