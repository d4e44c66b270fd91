/*{
    "ISFVSN": "2",
    "DESCRIPTION": "Test: inputs and passes read into the model but not honoured by the pipeline yet",
    "INPUTS": [
        {"NAME": "inputImage", "TYPE": "image"},
        {"NAME": "wave", "TYPE": "audio", "MAX": 256},
        {"NAME": "spectrum", "TYPE": "audioFFT"},
        {"NAME": "size", "TYPE": "float", "DEFAULT": 2.0, "MIN": 1.0, "MAX": 8.0}
    ],
    "IMPORTED": {"grain": {"PATH": "grain.png"}},
    "PASSES": [
        {"TARGET": "small", "WIDTH": "floor($WIDTH/$size)", "HEIGHT": "$HEIGHT/2", "FLOAT": true},
        {"TARGET": "trail", "PERSISTENT": true},
        {}
    ]
}*/

void main()
{
    vec4 c = IMG_THIS_PIXEL(inputImage) + IMG_NORM_PIXEL(grain, isf_FragNormCoord) * 0.1;
    c.rgb += vec3(IMG_NORM_PIXEL(wave, vec2(isf_FragNormCoord.x, 0.5)).r,
                  IMG_NORM_PIXEL(spectrum, vec2(isf_FragNormCoord.x, 0.5)).r, 0.0) * 0.0;
    if (PASSINDEX == 0)
        gl_FragColor = c;
    else if (PASSINDEX == 1)
        gl_FragColor = mix(IMG_THIS_PIXEL(trail), IMG_NORM_PIXEL(small, isf_FragNormCoord), 0.5);
    else
        gl_FragColor = IMG_THIS_PIXEL(trail);
}
