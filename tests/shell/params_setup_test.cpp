// Parameter setup: each described parameter becomes the host parameter the
// effect panel shows, with ids that follow the description index.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "FakeHost.h"
#include "shell/ParamsSetup.h"

namespace {

glfxpar param(int type, const std::string& name)
{
    glfxpar p;
    p.type = type;
    p.name = name;
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

TEST(ParamsSetup, SliderRangesComeFromMinMaxAndItemText)
{
    glfxpar f = param(GLFX_FLOAT, "Amount");
    f.min = 0.f;
    f.max = 1.f;
    f.def[0] = 0.25f;
    f.itemtext = "0|100";
    f.items = {"0", "100"};
    glfxpar i = param(GLFX_INT, "Radius");
    i.min = -5.f;
    i.max = 20.f;
    i.def[0] = 3.f;
    i.flags = 1;
    glfxpar f2 = param(GLFX_FLOAT2, "Offset");
    f2.min = -1.f;
    f2.max = 1.f;
    f2.def[0] = 0.5f;
    f2.items = {"x"};  // one entry: no widened range

    FakeHost h;
    cglfx fx = describe({f, i, f2});
    ASSERT_EQ(glfxshell::ParamsSetup(&h.in, &h.out, fx), PF_Err_NONE);
    ASSERT_EQ(h.added.size(), 3u);
    EXPECT_EQ(h.out.num_params, 4);

    const PF_FloatSliderDef& a = h.added[0].u.fs_d;
    EXPECT_EQ(h.added[0].param_type, PF_Param_FLOAT_SLIDER);
    EXPECT_FLOAT_EQ(a.slider_min, 0.f);
    EXPECT_FLOAT_EQ(a.slider_max, 1.f);
    EXPECT_FLOAT_EQ(a.valid_min, 0.f);
    EXPECT_FLOAT_EQ(a.valid_max, 100.f);
    EXPECT_DOUBLE_EQ(a.value, 0.25);
    EXPECT_FLOAT_EQ(a.dephault, 0.25f);
    EXPECT_EQ(a.precision, 2);
    EXPECT_EQ(a.display_flags, 0);
    EXPECT_FLOAT_EQ(a.curve_tolerance, 0.05f);
    EXPECT_EQ(h.added[0].flags, 0);

    const PF_FloatSliderDef& b = h.added[1].u.fs_d;
    EXPECT_EQ(b.precision, 0);
    EXPECT_EQ(b.display_flags, PF_ValueDisplayFlag_PERCENT);
    EXPECT_FLOAT_EQ(b.valid_min, -5.f);
    EXPECT_FLOAT_EQ(b.valid_max, 20.f);

    const PF_FloatSliderDef& c = h.added[2].u.fs_d;
    EXPECT_EQ(h.added[2].param_type, PF_Param_FLOAT_SLIDER);
    EXPECT_EQ(c.precision, 2);
    EXPECT_FLOAT_EQ(c.valid_min, -1.f);
    EXPECT_FLOAT_EQ(c.valid_max, 1.f);
}

TEST(ParamsSetup, ChoiceControlsCountFromOneAndKeepTheirTexts)
{
    glfxpar popup = param(GLFX_POPUP, "Mode");
    popup.max = 3.f;
    popup.def[0] = 7.f;  // past the last choice
    popup.itemtext = "a|b|c|d";
    popup.items = {"1", "2"};  // a popup's items never widen a range
    glfxpar popup2 = param(GLFX_POPUP, "Look");
    popup2.max = 2.f;
    popup2.def[0] = 1.9f;
    popup2.itemtext = "x|y|z";
    glfxpar check = param(GLFX_CHECK, "Enable");
    check.def[0] = 257.f;  // only the low 8 bits survive
    check.itemtext = "on";
    glfxpar huge = param(GLFX_POPUP, "Huge");
    huge.max = 1e10f;  // integer part held at 2^31 - 1; + 1 = 2^31, whose low 16 bits are 0
    huge.def[0] = 1e10f;

    FakeHost h;
    cglfx fx = describe({popup, popup2, check, huge});
    ASSERT_EQ(glfxshell::ParamsSetup(&h.in, &h.out, fx), PF_Err_NONE);
    ASSERT_EQ(h.added.size(), 4u);

    const PF_ParamDef& p = h.added[0];
    EXPECT_EQ(p.param_type, PF_Param_POPUP);
    EXPECT_EQ(p.flags, PF_ParamFlag_SUPERVISE);
    EXPECT_EQ(p.u.pd.num_choices, 4);
    EXPECT_EQ(p.u.pd.dephault, 4);
    EXPECT_EQ(p.u.pd.value, 4);
    // The pointer must stay valid after the call: it is the description's.
    EXPECT_EQ(p.u.pd.u.namesptr, fx.par[1].itemtext.c_str());

    EXPECT_EQ(h.added[1].u.pd.num_choices, 3);
    EXPECT_EQ(h.added[1].u.pd.dephault, 2);  // trunc(1.9) + 1

    const PF_ParamDef& c = h.added[2];
    EXPECT_EQ(c.param_type, PF_Param_CHECKBOX);
    EXPECT_EQ(c.flags, PF_ParamFlag_SUPERVISE);
    EXPECT_EQ(c.u.bd.value, 1);
    EXPECT_EQ(c.u.bd.dephault, 1);
    EXPECT_EQ(c.u.bd.u.nameptr, fx.par[3].itemtext.c_str());

    EXPECT_EQ(h.added[3].u.pd.num_choices, 0);
    EXPECT_EQ(h.added[3].u.pd.dephault, 0);
}

TEST(ParamsSetup, ColourAngleAndPointDefaultsInHostUnits)
{
    glfxpar color = param(GLFX_COLOR, "Tint");
    color.def[0] = 1.f;
    color.def[1] = 0.5f;   // 127.5 -> 127
    color.def[2] = 0.1f;   // 25.5 -> 25
    glfxpar angle = param(GLFX_ANGLE, "Angle");
    angle.def[0] = 45.9f;
    glfxpar negAngle = param(GLFX_ANGLE, "Tilt");
    negAngle.def[0] = -30.7f;
    glfxpar point = param(GLFX_POINT, "Centre");
    point.def[0] = 150.f;   // 15000 percent, limited to 10000
    point.def[1] = 0.5f;    // 50 percent
    glfxpar negPoint = param(GLFX_POINT, "Far");
    negPoint.def[0] = -2.f;  // no lower limit
    negPoint.def[1] = 1.f;
    glfxpar layer = param(GLFX_LAYER, "Matte");

    FakeHost h;
    cglfx fx = describe({color, angle, negAngle, point, negPoint, layer});
    ASSERT_EQ(glfxshell::ParamsSetup(&h.in, &h.out, fx), PF_Err_NONE);
    ASSERT_EQ(h.added.size(), 6u);

    const PF_ColorDef& c = h.added[0].u.cd;
    EXPECT_EQ(h.added[0].param_type, PF_Param_COLOR);
    for (const PF_Pixel& px : {c.value, c.dephault}) {
        EXPECT_EQ(px.alpha, 255);
        EXPECT_EQ(px.red, 255);
        EXPECT_EQ(px.green, 127);
        EXPECT_EQ(px.blue, 25);
    }

    EXPECT_EQ(h.added[1].param_type, PF_Param_ANGLE);
    EXPECT_EQ(h.added[1].u.ad.value, fixed(45));
    EXPECT_EQ(h.added[1].u.ad.dephault, fixed(45));
    EXPECT_EQ(h.added[2].u.ad.value, fixed(-30));

    const PF_PointDef& t = h.added[3].u.td;
    EXPECT_EQ(h.added[3].param_type, PF_Param_POINT);
    EXPECT_EQ(t.x_value, fixed(10000));
    EXPECT_EQ(t.y_value, fixed(50));
    EXPECT_EQ(t.x_dephault, fixed(10000));
    EXPECT_EQ(t.y_dephault, fixed(50));
    EXPECT_EQ(t.restrict_bounds, 0);
    EXPECT_EQ(h.added[4].u.td.x_value, fixed(-200));
    EXPECT_EQ(h.added[4].u.td.y_value, fixed(100));

    EXPECT_EQ(h.added[5].param_type, PF_Param_LAYER);
    EXPECT_EQ(h.added[5].u.ld.dephault, PF_LayerDefault_MYSELF);
}

TEST(ParamsSetup, IdsFollowTheDescriptionIndexAcrossSkippedTypes)
{
    glfxpar open = param(GLFX_TOPIC_START, "Open group");
    open.flags = 1;
    glfxpar closed = param(GLFX_TOPIC_START, "Closed group");
    closed.flags = 0;
    glfxpar end = param(GLFX_TOPIC_END, "not shown");
    glfxpar none = param(GLFX_NONE, "gap");
    glfxpar unknown = param(42, "unknown type");
    glfxpar disabled = param(GLFX_FLOAT, "Disabled");
    disabled.visibility = 1;
    glfxpar hidden = param(GLFX_FLOAT, "Hidden");
    hidden.visibility = 2;
    glfxpar shown = param(GLFX_FLOAT, "Shown");
    shown.visibility = -2;

    FakeHost h;
    cglfx fx = describe({open, closed, end, none, unknown, disabled, hidden, shown});
    ASSERT_EQ(glfxshell::ParamsSetup(&h.in, &h.out, fx), PF_Err_NONE);
    ASSERT_EQ(h.added.size(), 6u);
    EXPECT_EQ(h.out.num_params, 9);

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
    const std::string longName(45, 'N');
    glfxpar a = param(GLFX_CHECK, longName);
    a.itemtext = "label";
    glfxpar exact = param(GLFX_FLOAT, std::string(31, 'x'));

    for (bool hostStrcpy : {true, false}) {
        SCOPED_TRACE(hostStrcpy);
        FakeHost h;
        if (!hostStrcpy)
            h.utils.ansi.strcpy = nullptr;
        cglfx fx = describe({a, exact});
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
    {
        // Only the input layer: nothing to add.
        FakeHost h;
        cglfx fx;
        fx.settings.params = 1;
        EXPECT_EQ(glfxshell::ParamsSetup(&h.in, &h.out, fx), PF_Err_NONE);
        EXPECT_TRUE(h.added.empty());
        EXPECT_EQ(h.out.num_params, 1);
    }
    {
        // A count of 0 still leaves the host its input layer.
        FakeHost h;
        cglfx fx;
        fx.settings.params = 0;
        EXPECT_EQ(glfxshell::ParamsSetup(&h.in, &h.out, fx), PF_Err_NONE);
        EXPECT_TRUE(h.added.empty());
        EXPECT_EQ(h.out.num_params, 1);
    }
    {
        FakeHost h;
        cglfx fx;
        fx.settings.params = 127;
        for (int i = 1; i < 127; ++i)
            fx.par[i] = param(GLFX_FLOAT, "p" + std::to_string(i));
        EXPECT_EQ(glfxshell::ParamsSetup(&h.in, &h.out, fx), PF_Err_NONE);
        ASSERT_EQ(h.added.size(), 126u);
        EXPECT_EQ(h.added.front().uu.id, 2);
        EXPECT_EQ(h.added.back().uu.id, 127);
        EXPECT_STREQ(h.added.back().name, "p126");
        EXPECT_EQ(h.out.num_params, 127);
    }
    {
        // More than the table holds is read as the full table.
        FakeHost h;
        cglfx fx;
        fx.settings.params = 500;
        for (int i = 1; i < glfxlimits::kMaxParams; ++i)
            fx.par[i] = param(GLFX_FLOAT, "p");
        EXPECT_EQ(glfxshell::ParamsSetup(&h.in, &h.out, fx), PF_Err_NONE);
        EXPECT_EQ(h.added.size(), 127u);
        EXPECT_EQ(h.out.num_params, 128);
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

}  // namespace
