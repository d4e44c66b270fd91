/*{
    "ISFVSN": "2.0",
    "DESCRIPTION": "Test: a point2D in frame pixels and one in a range, drawn as discs",
    "INPUTS": [
        {"NAME": "spot", "TYPE": "point2D", "DEFAULT": [40, 30]},
        {"NAME": "where", "TYPE": "point2D", "DEFAULT": [0.25, 0.75], "MIN": [0, 0], "MAX": [1, 1]}
    ]
}*/

void main()
{
    float a = 1.0 - smoothstep(5.0, 7.0, distance(gl_FragCoord.xy, spot));
    float b = 1.0 - smoothstep(0.08, 0.1, distance(isf_FragNormCoord, where));
    gl_FragColor = vec4(a, b, isf_FragNormCoord.y, 1.0);
}
