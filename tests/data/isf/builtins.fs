/*{
    "ISFVSN": "2",
    "DESCRIPTION": "Test: the built-in uniforms, with no input image (a generator)",
    "INPUTS": []
}*/

void main()
{
    vec2 px = gl_FragCoord.xy / RENDERSIZE;
    float stripe = step(0.5, fract(px.x * 4.0 + TIME * 0.25));
    gl_FragColor = vec4(isf_FragNormCoord.x * stripe,
                        isf_FragNormCoord.y,
                        fract(float(FRAMEINDEX) * 0.25) + TIMEDELTA * 2.0 + float(PASSINDEX) * 0.1,
                        1.0);
}
