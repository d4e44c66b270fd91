// The page side of tests/isf/isf_reference.py: renders an ISF shader with
// the format's reference renderer (WebGL) and hands back the canvas's
// pixels, top row first.
const isf = require('interactive-shader-format');

function loadImage(url) {
  return new Promise((resolve, reject) => {
    const img = new Image();
    img.onload = () => resolve(img);
    img.onerror = () => reject(new Error('cannot load an input image'));
    img.src = url;
  });
}

// spec: {fragment, vertex, width, height, images: {name: dataURL},
// values: {name: value}, frames: [{TIME, TIMEDELTA, FRAMEINDEX, values,
// capture}]}. Resolves to {pixels: [[r,g,b,a, ...] per captured frame]} or
// {error}.
window.renderIsf = async function renderIsf(spec) {
  const canvas = document.createElement('canvas');
  canvas.width = spec.width;
  canvas.height = spec.height;
  const gl = canvas.getContext('webgl', {
    preserveDrawingBuffer: true, premultipliedAlpha: false, antialias: false, alpha: true,
  });
  if (!gl) return {error: 'no WebGL'};
  // Pixels go to textures as the files hold them, no colour conversion.
  gl.pixelStorei(gl.UNPACK_COLORSPACE_CONVERSION_WEBGL, gl.NONE);
  let fragment = spec.fragment;
  let vertex = spec.vertex || undefined;
  if (spec.upgrade) {
    // Version 1 files are upgraded first, as the renderer's own upgrader does.
    fragment = isf.Upgrader.convertFragment(fragment);
    if (vertex) vertex = isf.Upgrader.convertVertex(vertex);
  }
  const renderer = new isf.Renderer(gl);
  renderer.loadSource(fragment, vertex);
  if (!renderer.valid) return {error: String(renderer.error && (renderer.error.message || renderer.error))};
  const images = {};
  for (const name of Object.keys(spec.images || {})) {
    images[name] = await loadImage(spec.images[name]);
    renderer.setValue(name, images[name]);
  }
  const setValues = (values) => {
    for (const name of Object.keys(values || {})) renderer.setValue(name, values[name]);
  };
  setValues(spec.values);
  const out = [];
  for (const frame of spec.frames) {
    setValues(frame.values);
    // The renderer takes TIME and the like from the wall clock; a test
    // gives them. It also binds image inputs to texture units only when
    // they are set, and draw() starts counting units again from 0 for its
    // buffers, so the images are bound again first each frame.
    renderer.setDateUniforms = function setDateUniforms() {
      for (const name of Object.keys(images)) {
        const u = this.uniforms[name];
        if (u) { u.textureLoaded = false; this.pushTexture(u); }
      }
      this.setValue('TIME', frame.TIME);
      this.setValue('TIMEDELTA', frame.TIMEDELTA);
      this.setValue('FRAMEINDEX', frame.FRAMEINDEX);
      if (frame.DATE) this.setValue('DATE', frame.DATE);
    };
    renderer.draw(canvas);
    if (frame.capture) {
      const px = new Uint8Array(spec.width * spec.height * 4);
      gl.bindFramebuffer(gl.FRAMEBUFFER, null);
      gl.readPixels(0, 0, spec.width, spec.height, gl.RGBA, gl.UNSIGNED_BYTE, px);
      // WebGL reads rows bottom first; the host's worlds are top row first.
      const rows = [];
      const stride = spec.width * 4;
      for (let y = spec.height - 1; y >= 0; --y) rows.push(...px.subarray(y * stride, (y + 1) * stride));
      out.push(rows);
    }
  }
  const err = gl.getError();
  return {pixels: out, glError: err};
};
