/* The whole public interface. */
#ifndef VOKRA_VOKRA_H
#define VOKRA_VOKRA_H

#include <vokra/anim_node.h>
#include <vokra/attributes.h>
#include <vokra/base.h>
#include <vokra/box.h>
#include <vokra/commonsyms.h>
#include <vokra/expr.h>
#include <vokra/functor.h>
#include <vokra/functor_evaluate.h>
#include <vokra/functor_noise.h>
#include <vokra/kernel.h>
#include <vokra/la.h>
#include <vokra/listener.h>
#include <vokra/matrix.h>
#include <vokra/matrix_copy.h>
#include <vokra/matrix_file.h>
#include <vokra/matrix_image.h>
#include <vokra/matrix_info.h>
#include <vokra/matrix_wrapper.h>
#include <vokra/memory.h>
#include <vokra/mop.h>
#include <vokra/mop_box.h>
#include <vokra/numerics.h>
#include <vokra/op.h>
#include <vokra/parallel_ndim.h>
#include <vokra/parallel_pool.h>
#include <vokra/pixel_formats.h>
#include <vokra/quat_interface.h>
#include <vokra/vecmath.h>
#include <vokra/xml.h>
#include <vokra/zpatcher_syms.h>

#endif
