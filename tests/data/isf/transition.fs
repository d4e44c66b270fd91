/*{
    "ISFVSN": "2",
    "DESCRIPTION": "Test: a transition (startImage, endImage, progress), a soft diagonal wipe",
    "CATEGORIES": ["Transition"],
    "INPUTS": [
        {"NAME": "startImage", "TYPE": "image"},
        {"NAME": "endImage", "TYPE": "image"},
        {"NAME": "progress", "TYPE": "float", "DEFAULT": 0.0, "MIN": 0.0, "MAX": 1.0}
    ]
}*/

void main()
{
    vec4 a = IMG_THIS_PIXEL(startImage);
    vec4 b = IMG_THIS_PIXEL(endImage);
    float edge = (isf_FragNormCoord.x + isf_FragNormCoord.y) * 0.5;
    float t = smoothstep(progress * 1.2 - 0.2, progress * 1.2, edge);
    gl_FragColor = mix(b, a, t);
}
