// Parameter setup: each described parameter becomes the host parameter the
// effect panel shows, with ids that follow the description index. The common
// values of every type run through the real plug-in in the host and
// command-line tests; these are the edges of each conversion and the failures
// a real host does not produce.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FakeHost.h"
#include "shell/ParamsSetup.h"

namespace {

glfxpar param(int type, const std::string& name, float d0 = 0.f, float d1 = 0.f, float d2 = 0.f)
{
    glfxpar p;
    p.type = type;
    p.name = name;
    p.def[0] = d0;
    p.def[1] = d1;
    p.def[2] = d2;
    return p;
}

// A description with the given parameters after the input layer.
cglfx describe(const std::vector<glfxpar>& params)
{
    cglfx fx;
    fx.settings.params = static_cast<int>(params.size()) + 1;
    for (std::size_t i = 0; i < params.size(); ++i)
        fx.par[i + 1] = params[i];
    return fx;
}

constexpr PF_Fixed fixed(int whole) { return whole * 65536; }

TEST(ParamsSetup, DefaultsInHostUnitsAtTheirEdges)
{
    glfxpar popup = param(GLFX_POPUP, "Look", 1.9f); // choice trunc(1.9) + 1
    popup.max = 2.f;
    popup.itemtext = "x|y|z";
    glfxpar huge = param(GLFX_POPUP, "Huge", 1e10f);
    huge.max = 1e10f; // integer part held at 2^31 - 1; + 1 = 2^31, whose low 16 bits are 0
    glfxpar check = param(GLFX_CHECK, "Enable", 257.f); // only the low 8 bits survive
    check.itemtext = "on";
    glfxpar pair = param(GLFX_FLOAT2, "Offset", 0.5f); // a single slider
    pair.min = -1.f;
    pair.max = 1.f;
    pair.items = {"x"}; // one item does not widen the valid range

    FakeHost h;
    cglfx fx = describe({popup, huge, check, param(GLFX_COLOR, "Tint", 1.f, 0.5f, 0.1f),
                         param(GLFX_ANGLE, "Tilt", -30.7f), param(GLFX_POINT, "Far", -2.f, 1.f),
                         param(GLFX_LAYER, "Matte"), pair});
    ASSERT_EQ(glfxshell::ParamsSetup(&h.in, &h.out, fx), PF_Err_NONE);
    ASSERT_EQ(h.added.size(), 8u);

    const PF_ParamDef& p = h.added[0];
    EXPECT_EQ(p.param_type, PF_Param_POPUP);
    EXPECT_EQ(p.flags, PF_ParamFlag_SUPERVISE);
    EXPECT_EQ(p.u.pd.num_choices, 3);
    EXPECT_EQ(p.u.pd.dephault, 2);
    EXPECT_EQ(p.u.pd.value, 2);
    // The pointer must stay valid after the call: it is the description's.
    EXPECT_EQ(p.u.pd.u.namesptr, fx.par[1].itemtext.c_str());
    EXPECT_EQ(h.added[1].u.pd.num_choices, 0);
    EXPECT_EQ(h.added[1].u.pd.dephault, 0);

    const PF_ParamDef& c = h.added[2];
    EXPECT_EQ(c.param_type, PF_Param_CHECKBOX);
    EXPECT_EQ(c.flags, PF_ParamFlag_SUPERVISE);
    EXPECT_EQ(c.u.bd.value, 1);
    EXPECT_EQ(c.u.bd.dephault, 1);
    EXPECT_EQ(c.u.bd.u.nameptr, fx.par[3].itemtext.c_str());

    // 127.5 and 25.5 truncate to 127 and 25.
    for (const PF_Pixel& px : {h.added[3].u.cd.value, h.added[3].u.cd.dephault}) {
        EXPECT_EQ(px.alpha, 255);
        EXPECT_EQ(px.red, 255);
        EXPECT_EQ(px.green, 127);
        EXPECT_EQ(px.blue, 25);
    }
    // Toward zero for negative angles; no lower limit on points.
    EXPECT_EQ(h.added[4].u.ad.value, fixed(-30));
    EXPECT_EQ(h.added[4].u.ad.dephault, fixed(-30));
    const PF_PointDef& t = h.added[5].u.td;
    EXPECT_EQ(t.x_value, fixed(-200));
    EXPECT_EQ(t.y_value, fixed(100));
    EXPECT_EQ(t.x_dephault, fixed(-200));
    EXPECT_EQ(t.y_dephault, fixed(100));
    EXPECT_EQ(t.restrict_bounds, 0);
    EXPECT_EQ(h.added[6].param_type, PF_Param_LAYER);
    EXPECT_EQ(h.added[6].u.ld.dephault, PF_LayerDefault_MYSELF);

    const PF_FloatSliderDef& f = h.added[7].u.fs_d;
    EXPECT_EQ(h.added[7].param_type, PF_Param_FLOAT_SLIDER);
    EXPECT_DOUBLE_EQ(f.value, 0.5);
    EXPECT_FLOAT_EQ(f.dephault, 0.5f);
    EXPECT_FLOAT_EQ(f.valid_min, -1.f);
    EXPECT_FLOAT_EQ(f.valid_max, 1.f);
    EXPECT_FLOAT_EQ(f.slider_min, -1.f);
    EXPECT_FLOAT_EQ(f.slider_max, 1.f);
    EXPECT_EQ(f.precision, 2);
    EXPECT_EQ(f.display_flags, 0);
}

TEST(ParamsSetup, IdsFollowTheDescriptionIndexAcrossSkippedTypes)
{
    glfxpar open = param(GLFX_TOPIC_START, "Open group");
    open.flags = 1;
    glfxpar disabled = param(GLFX_FLOAT, "Disabled");
    disabled.visibility = 1;
    glfxpar hidden = param(GLFX_FLOAT, "Hidden");
    hidden.visibility = 2;
    glfxpar shown = param(GLFX_FLOAT, "Shown");
    shown.visibility = -2;

    FakeHost h;
    cglfx fx = describe({open, param(GLFX_TOPIC_START, "Closed group"), param(GLFX_TOPIC_END, "not shown"),
                         param(GLFX_NONE, "gap"), param(42, "unknown type"), disabled, hidden, shown});
    ASSERT_EQ(glfxshell::ParamsSetup(&h.in, &h.out, fx), PF_Err_NONE);
    // The input and the six parameters that have a host control: "none" and
    // the unknown type take no place in the host's array.
    EXPECT_EQ(h.out.num_params, 7);

    struct Expect {
        A_long id;
        PF_ParamType type;
        PF_ParamFlags flags;
        PF_ParamUIFlags ui;
        const char* name;
    };
    const Expect expected[] = {
        {2, PF_Param_GROUP_START, 0, 0, "Open group"},
        {3, PF_Param_GROUP_START, PF_ParamFlag_START_COLLAPSED, 0, "Closed group"},
        {4, PF_Param_GROUP_END, 0, 0, ""},
        {7, PF_Param_FLOAT_SLIDER, 0, PF_PUI_DISABLED, "Disabled"},
        {8, PF_Param_FLOAT_SLIDER, 0, PF_PUI_INVISIBLE, "Hidden"},
        {9, PF_Param_FLOAT_SLIDER, 0, 0, "Shown"},
    };
    ASSERT_EQ(h.added.size(), std::size(expected));
    for (std::size_t k = 0; k < h.added.size(); ++k) {
        SCOPED_TRACE(k);
        EXPECT_EQ(h.added[k].uu.id, expected[k].id);
        EXPECT_EQ(h.added[k].param_type, expected[k].type);
        EXPECT_EQ(h.added[k].flags, expected[k].flags);
        EXPECT_EQ(h.added[k].ui_flags, expected[k].ui);
        EXPECT_STREQ(h.added[k].name, expected[k].name);
    }
}

TEST(ParamsSetup, LongNamesAreCutToTheHostFieldWithoutOverflow)
{
    glfxpar a = param(GLFX_CHECK, std::string(45, 'N'));
    a.itemtext = "label";
    for (bool hostStrcpy : {true, false}) {
        SCOPED_TRACE(hostStrcpy);
        FakeHost h;
        if (!hostStrcpy)
            h.utils.ansi.strcpy = nullptr;
        cglfx fx = describe({a, param(GLFX_FLOAT, std::string(31, 'x'))});
        ASSERT_EQ(glfxshell::ParamsSetup(&h.in, &h.out, fx), PF_Err_NONE);
        ASSERT_EQ(h.added.size(), 2u);
        EXPECT_EQ(std::string(h.added[0].name), std::string(31, 'N'));
        // The fields after the name are intact: nothing ran past it.
        EXPECT_EQ(h.added[0].flags, PF_ParamFlag_SUPERVISE);
        EXPECT_EQ(h.added[0].unused, 0);
        EXPECT_EQ(std::string(h.added[1].name), std::string(31, 'x'));
    }
}

TEST(ParamsSetup, ParameterCountsAtTheEdges)
{
    // Count 0 still leaves the host its input layer; more than the table
    // holds is read as the full table.
    struct Row {
        int count;
        std::size_t added;
        A_long lastId;
        A_long numParams;
    };
    for (const Row& r :
         {Row{0, 0, 0, 1}, Row{1, 0, 0, 1}, Row{127, 126, 127, 127}, Row{500, 127, 128, 128}}) {
        SCOPED_TRACE(r.count);
        FakeHost h;
        cglfx fx;
        fx.settings.params = r.count;
        for (int i = 1; i < glfxlimits::kMaxParams; ++i)
            fx.par[i] = param(GLFX_FLOAT, "p" + std::to_string(i));
        EXPECT_EQ(glfxshell::ParamsSetup(&h.in, &h.out, fx), PF_Err_NONE);
        ASSERT_EQ(h.added.size(), r.added);
        EXPECT_EQ(h.out.num_params, r.numParams);
        if (r.added) {
            EXPECT_EQ(h.added.front().uu.id, 2);
            EXPECT_EQ(h.added.back().uu.id, r.lastId);
            EXPECT_EQ(h.added.back().name, "p" + std::to_string(r.lastId - 1));
        }
    }
}

TEST(ParamsSetup, FirstAddParamErrorEndsTheCommand)
{
    FakeHost h;
    h.failAddParamAt = 1;
    h.addParamResult = PF_Err_OUT_OF_MEMORY;
    h.out.num_params = -7;
    cglfx fx = describe({param(GLFX_FLOAT, "a"), param(GLFX_FLOAT, "b"), param(GLFX_FLOAT, "c")});
    EXPECT_EQ(glfxshell::ParamsSetup(&h.in, &h.out, fx), PF_Err_OUT_OF_MEMORY);
    EXPECT_EQ(h.added.size(), 1u);
    EXPECT_EQ(h.out.num_params, -7);
}

} // namespace
