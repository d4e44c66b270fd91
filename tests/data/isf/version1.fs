/*{
    "DESCRIPTION": "Test: a version 1 file (no ISFVSN, vv_ names, PERSISTENT_BUFFERS)",
    "INPUTS": [
        {"NAME": "inputImage", "TYPE": "image"},
        {"NAME": "level", "TYPE": "float", "DEFAULT": 0.5}
    ],
    "PERSISTENT_BUFFERS": ["held"],
    "PASSES": [
        {"TARGET": "held"},
        {}
    ]
}*/

void main()
{
    if (PASSINDEX == 0)
        gl_FragColor = vec4(IMG_THIS_PIXEL(inputImage).rgb * level, 1.0);
    else
        gl_FragColor = vec4(IMG_NORM_PIXEL(held, vv_FragNormCoord).bgr, 1.0);
}
