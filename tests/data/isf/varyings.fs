/*{
    "ISFVSN": "2",
    "DESCRIPTION": "Test: a vertex shader (varyings.vs) that hands the fragment shader its own varyings",
    "INPUTS": [
        {"NAME": "inputImage", "TYPE": "image"},
        {"NAME": "shift", "TYPE": "float", "DEFAULT": 0.1, "MIN": -0.5, "MAX": 0.5}
    ]
}*/

varying vec2 shifted;
varying float ramp;

void main()
{
    gl_FragColor = vec4(texture2D(inputImage, shifted).rgb * ramp, 1.0);
}
