// The same as any processor of the family runs it: what the others are held equal to.
#define VOKRA_ISA plain
#include "functor/vok.functor.store.kernels.cpp"
