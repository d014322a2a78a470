/* The whole host interface. */
#ifndef ZAN_ZAN_H
#define ZAN_ZAN_H
#include <zan/attributes.h>
#include <zan/base.h>
#include <zan/classes.h>
#include <zan/collections.h>
#include <zan/files.h>
#include <zan/memory.h>
#include <zan/module.h>
#include <zan/objects.h>
#include <zan/outlets.h>
#include <zan/preferences.h>
#include <zan/surfaces.h>
#include <zan/symbols.h>
#include <zan/text.h>
#include <zan/threads.h>
#endif
