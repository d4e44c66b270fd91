#include "fuzz/session/Descriptions.h"

#include <fstream>
#include <sstream>

namespace sessionfuzz {
namespace {

// Every parameter type that adds a host parameter, a layer with a time
// offset, a float2 pair, and two passes reading the layer.
const char kEveryType[] = R"([settings]
name=Every Type
description=One parameter of each type.\rSecond line.
version=0.1
shaders=2

[par1]
name=Count
param=count
type=int
min=0
max=10
default=3

[par2]
name=On
param=on
type=check
text=switch it
default=true

[par3]
name=Pick
param=pick
type=popup
popup=A|B|C
default=1

[par4]
name=Other
param=other
type=layer
time=2

[par5]
name=Gain
param=gain
type=float
min=-1
max=1
text=-5|5
default=0.25

[par6]
name=Tint
param=tint
type=color
default=1|0.5|0

[par7]
name=Turn
param=turn
type=angle
default=45

[par8]
name=Where
param=where
type=point
default=0.25|0.75

[par9]
name=Topic
param=topic
type=topic_start

[par10]
name=Pair
param=pair
type=float2
min=0
max=4
default=1

[par11]
param=pairY
type=float
min=0
max=4
default=2

[par12]
param=topicEnd
type=topic_end

[routing]
ps1_in0=ps0
ps1_in1=layer1

[ps0]
uniform sampler2D in0;
uniform float gain;
uniform vec3 tint;
void main()
{
    vec4 c = texture2D(in0, gl_TexCoord[0].st);
    gl_FragColor = vec4(c.rgb * tint + gain, c.a);
}

[ps1]
uniform sampler2D in0;
uniform sampler2D in1;
uniform float time;
void main()
{
    vec2 uv = gl_TexCoord[0].st;
    gl_FragColor = mix(texture2D(in0, uv), texture2D(in1, uv), 0.5 + 0.0 * time);
}
)";

// A popup whose choices are presets of two other parameters, a checkbox
// switching a group on and off, a hidden and a disabled parameter.
const char kPresetsAndGroups[] = R"([settings]
name=Presets
description=Presets and a group switch.
version=0.2

[par1]
name=Look
param=look
type=popup
popup=Plain|Warm|Cold
default=0
flags=3

[par2]
name=Amount
param=amount
type=float
min=0
max=1
default=0.5

[par3]
name=Colour
param=colour
type=color
default=0.5|0.5|0.5

[par4]
name=Extra
param=extra
type=check
default=false
groupswitch=7

[par5]
name=Strength
param=strength
type=float
min=0
max=2
default=1
group=8

[par6]
name=Hidden
param=hidden
type=float
hidden=1
default=0.3

[par7]
name=Disabled
param=disabled
type=int
disabled=1
min=0
max=5
default=2
group=8

[preset_look_0]
amount=0
colour=0.5|0.5|0.5

[preset_look_1]
amount=0.7
colour=0.9|0.6|0.3

[preset_look_2]
amount=0.4
colour=0.3|0.6|0.9

[ps0]
uniform sampler2D in0;
uniform float amount;
uniform vec3 colour;
void main()
{
    vec4 c = texture2D(in0, gl_TexCoord[0].st);
    gl_FragColor = vec4(mix(c.rgb, colour, amount), c.a);
}
)";

// A "none" parameter between two sliders: it adds no host parameter, so the
// host holds one parameter fewer than the description counts and the last
// one's checkout at render is refused.
const char kNoneGap[] = R"([settings]
name=None Gap
[par1]
name=Before
param=before
type=float
default=0.5
[par2]
name=Nothing
param=nothing
type=none
[par3]
name=After
param=after
type=float
default=0.25
)";

// A shader that does not compile: the build log path.
const char kBroken[] = R"([settings]
name=Broken
[par1]
name=Gain
param=gain
type=float
default=1
[ps0]
void main() { this is not GLSL }
)";

std::string readFile(const std::string& path)
{
    std::ifstream f(path, std::ios::binary);
    if (!f)
        return std::string();
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

} // namespace

std::vector<Description> loadDescriptions(const std::string& builtin, const std::string& effectsDir)
{
    std::vector<Description> all;
    all.push_back({"built-in", builtin});
    all.push_back({"every type", kEveryType});
    all.push_back({"presets and groups", kPresetsAndGroups});
    all.push_back({"broken shader", kBroken});
    all.push_back({"none gap", kNoneGap, false});
    for (const char* name : {"invert.glfx", "passthrough.glfx", "lensdirt.glfx", "cinematic.glfx"}) {
        std::string text = readFile(effectsDir + "/" + name);
        if (!text.empty())
            all.push_back({name, std::move(text)});
    }
    return all;
}

} // namespace sessionfuzz
