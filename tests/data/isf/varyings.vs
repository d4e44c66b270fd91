varying vec2 shifted;
varying float ramp;

void main()
{
    isf_vertShaderInit();
    shifted = isf_FragNormCoord + vec2(shift, 0.0);
    ramp = 0.25 + 0.75 * isf_FragNormCoord.y;
}
