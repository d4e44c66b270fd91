/*{
    "ISFVSN": "2",
    "DESCRIPTION": "Test: float, bool, long and color inputs on an image",
    "CREDIT": "glfx tests",
    "CATEGORIES": ["Test"],
    "INPUTS": [
        {"NAME": "inputImage", "TYPE": "image"},
        {"NAME": "gain", "TYPE": "float", "LABEL": "Gain", "DEFAULT": 0.8, "MIN": 0.0, "MAX": 2.0},
        {"NAME": "negate", "TYPE": "bool", "DEFAULT": false},
        {"NAME": "channel", "TYPE": "long", "VALUES": [0, 5, 10], "LABELS": ["Red", "Green", "Blue"], "DEFAULT": 5},
        {"NAME": "tint", "TYPE": "color", "DEFAULT": [0.2, 0.4, 0.6, 0.8]}
    ]
}*/

void main()
{
    vec4 c = IMG_THIS_PIXEL(inputImage);
    vec3 v = c.rgb * gain;
    if (negate)
        v = 1.0 - v;
    // The long input arrives as its VALUE: 0, 5 or 10.
    float pick = channel == 0 ? v.r : channel == 5 ? v.g : channel == 10 ? v.b : 0.0;
    gl_FragColor = vec4(mix(vec3(pick), tint.rgb, 0.5), tint.a);
}
