/*{
    "ISFVSN": "2",
    "DESCRIPTION": "Test: an event input (true for one frame after it is fired)",
    "INPUTS": [
        {"NAME": "inputImage", "TYPE": "image"},
        {"NAME": "flash", "TYPE": "event"}
    ]
}*/

void main()
{
    gl_FragColor = flash ? vec4(1.0) : IMG_THIS_PIXEL(inputImage);
}
