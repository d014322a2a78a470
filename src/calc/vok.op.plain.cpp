// The vector functions as any processor of the family runs them: the path where no
// faster one is chosen, and the one that the others are held equal to.
#define VOKRA_ISA plain
#include "calc/vok.op.kernels.cpp"
