// Transform nodes: an update from the end of a chain of a thousand, in nanoseconds a node,
// when nothing changed, when the root moved and when it turned. The limit is the bare
// arithmetic of such a chain: a product of rotations, a point, a matrix and its inverse.
#include <algorithm>
#include <vector>

#include <vokra/vokra.h>
#include <zan/symbols.h>

#include "limits.h"

namespace {

constexpr long count = 1000;

struct chain {
    std::vector<vok_anim_node *> nodes;
    chain()
    {
        const float step[] = {0, 0.1f, 1};
        for (long i = 0; i < count; i++) {
            nodes.push_back(static_cast<vok_anim_node *>(vok_object_new(gensym("vok_anim_node"))));
            vok_attr_setfloat_array(nodes.back(), gensym("position"), 3, step);
            if (i)
                vok_attr_setsym(nodes.back(), gensym("anim"), nodes[static_cast<size_t>(i - 1)]->name);
        }
        vok_anim_node_update(nodes.back(), 0);
    }
    ~chain()
    {
        for (vok_anim_node *x : nodes)
            vok_object_free(x);
    }
};

double arithmetic_ns()
{
    struct record {
        vok_quat q = {0, 0, 0, 1}, world = q;
        vok_vec3 position = {0, 0.1f, 1}, at = position, scale = {1, 1, 1};
        vok_mat4 m, inverse;
    };
    std::vector<record> records(count);
    double best = 1e9;
    for (int i = 0; i < 50; i++)
        best = std::min(best, bench::seconds_of([&] {
                            for (size_t k = 1; k < records.size(); k++) {
                                record &r = records[k];
                                const record &p = records[k - 1];
                                vok_quat_mult(&r.world, &p.world, &r.q);
                                vok_vec3_mult(&r.at, &p.scale, &r.position);
                                vok_quat_mult_vec3(&r.at, &p.world, &r.at);
                                vok_vec3_add(&r.at, &r.at, &p.at);
                                vok_mat4_identity(&r.m);
                                vok_mat4_from_quat(&r.m, &r.world);
                                vok_mat4_set_translation(&r.m, &r.at);
                                const vok_mat4 s = {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}};
                                vok_mat4_mult(&r.m, &r.m, &s);
                                vok_mat4_get_inverse(&r.inverse, &r.m);
                            }
                            benchmark::DoNotOptimize(records.data());
                        }));
    return best / count * 1e9;
}

enum change { nothing, moved, turned };

void update_from_the_leaf(benchmark::State &state, change what)
{
    chain c;
    double best = 1e9;
    float angle = 0;
    for (auto _ : state) {
        const float turn[] = {angle += 0.01f, 0, 0, 1}, place[] = {angle += 0.01f, 0, 0};
        if (what == moved)
            vok_attr_setfloat_array(c.nodes[0], gensym("position"), 3, place);
        if (what == turned)
            vok_attr_setfloat_array(c.nodes[0], gensym("rotate"), 4, turn);
        best = std::min(best, bench::seconds_of([&] { vok_anim_node_update(c.nodes.back(), 0); }));
    }
    state.counters["ns_per_node"] = best / count * 1e9;
    state.counters["arithmetic_ns"] = arithmetic_ns();
}
BENCHMARK_CAPTURE(update_from_the_leaf, nothing_changed, nothing)->Name("anim_node/chain/nothing_changed");
BENCHMARK_CAPTURE(update_from_the_leaf, root_moved, moved)->Name("anim_node/chain/root_moved");
BENCHMARK_CAPTURE(update_from_the_leaf, root_turned, turned)->Name("anim_node/chain/root_turned");

} // namespace
