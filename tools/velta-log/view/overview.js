// SPDX-License-Identifier: MIT
// The strip above the timeline: how busy the whole log is, its errors, and the part in view.

class Overview {
  constructor(log, canvas) {
    Object.assign(this, { log, canvas });
  }

  resize() {
    this.width = this.canvas.clientWidth;
    this.height = this.canvas.clientHeight;
    this.context = fitCanvas(this.canvas, this.width, this.height);
    this.colours = readColours();
    const bins = new Uint32Array(Math.max(1, this.width - gutter));
    const errors = new Uint8Array(bins.length);
    const bin = (time) => Math.min(bins.length - 1, Math.max(0,
      Math.floor(((time - this.log.begin) / (this.log.end - this.log.begin)) * bins.length)));
    for (const { scopes, marks } of this.log.threads) {
      for (const time of scopes.begin) ++bins[bin(time)];
      marks.time.forEach((time, i) => {
        ++bins[bin(time)];
        if (this.log.isFailure(marks.code[i])) errors[bin(time)] = 1;
      });
    }
    // By the square root: one busy moment must not flatten the rest.
    const most = Math.sqrt(bins.reduce((a, b) => Math.max(a, b), 1));
    this.bars = Array.from(bins, (count) => Math.sqrt(count) / most);
    this.errors = errors;
  }

  draw(begin, end) {
    const { context, colours, width, height, log } = this;
    context.fillStyle = colours.panel;
    context.fillRect(0, 0, width, height);
    context.fillStyle = colours.mark;
    this.bars.forEach((bar, i) => {
      const tall = bar === 0 ? 0 : Math.max(1.5, bar * (height - 12));
      context.fillRect(gutter + i, height - 2 - tall, 1, tall);
    });
    context.fillStyle = colours.error;
    this.errors.forEach((has, i) => { if (has) context.fillRect(gutter + i, 2, 1.5, 5); });
    const x = (time) => gutter + ((time - log.begin) / (log.end - log.begin)) * (width - gutter);
    context.fillStyle = colours["accent-soft"];
    context.strokeStyle = colours.accent;
    const room = Math.max(x(end) - x(begin), 2);
    context.fillRect(x(begin), 0.5, room, height - 1);
    context.strokeRect(x(begin) + 0.5, 0.5, Math.max(room - 1, 1), height - 1);
    context.fillStyle = colours.dim;
    context.font = "12px system-ui, 'DejaVu Sans', sans-serif";
    context.textBaseline = "middle";
    context.fillText(durationText(log.end - log.begin), 12, height / 2);
  }

  time(x) {
    const part = Math.min(1, Math.max(0, (x - gutter) / Math.max(1, this.width - gutter)));
    return this.log.begin + part * (this.log.end - this.log.begin);
  }
}
