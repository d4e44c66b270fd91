/*{
    "ISFVSN": "2",
    "DESCRIPTION": "Test: three passes with named targets at full size (a box blur across, then down)",
    "INPUTS": [
        {"NAME": "inputImage", "TYPE": "image"},
        {"NAME": "reach", "TYPE": "float", "DEFAULT": 2.0, "MIN": 0.0, "MAX": 4.0}
    ],
    "PASSES": [
        {"TARGET": "across"},
        {"TARGET": "down"},
        {}
    ]
}*/

vec4 box(vec2 step)
{
    vec4 sum = vec4(0.0);
    for (int i = -2; i <= 2; ++i) {
        vec2 at = isf_FragNormCoord + step * float(i) * reach / RENDERSIZE;
        sum += PASSINDEX == 0 ? IMG_NORM_PIXEL(inputImage, at) : IMG_NORM_PIXEL(across, at);
    }
    return sum / 5.0;
}

void main()
{
    if (PASSINDEX == 0)
        gl_FragColor = box(vec2(1.0, 0.0));
    else if (PASSINDEX == 1)
        gl_FragColor = box(vec2(0.0, 1.0));
    else
        gl_FragColor = vec4(IMG_THIS_PIXEL(down).rgb, 1.0);
}
