/* The whole public interface. */
#ifndef VOKRA_VOKRA_H
#define VOKRA_VOKRA_H

#include <vokra/base.h>
#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/attributes.h>
#include <vokra/memory.h>
#include <vokra/matrix_info.h>
#include <vokra/parallel_ndim.h>
#include <vokra/zpatcher_syms.h>

#endif
