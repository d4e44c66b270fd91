/*{
    "ISFVSN": "2",
    "DESCRIPTION": "Test: IMG_PIXEL, IMG_NORM_PIXEL, IMG_THIS_NORM_PIXEL and IMG_SIZE on two images",
    "INPUTS": [
        {"NAME": "inputImage", "TYPE": "image"},
        {"NAME": "overlay", "TYPE": "image", "LABEL": "Overlay"}
    ]
}*/

void main()
{
    vec2 size = IMG_SIZE(inputImage);
    // A mirror of the input by pixel and the overlay by normalized position.
    // (The reference renderer expands IMG_* calls with a pattern that stops
    // at the first ')', so their arguments here hold no parentheses.)
    vec2 across = vec2(size.x - gl_FragCoord.x, gl_FragCoord.y);
    vec4 mirrored = IMG_PIXEL(inputImage, across);
    vec4 over = IMG_NORM_PIXEL(overlay, isf_FragNormCoord.yx);
    vec4 here = IMG_THIS_NORM_PIXEL(inputImage);
    float left = step(isf_FragNormCoord.x, 0.5);
    gl_FragColor = vec4(mix(mirrored.rgb, over.rgb, left) * 0.7 + here.rgb * 0.3, 1.0);
}
