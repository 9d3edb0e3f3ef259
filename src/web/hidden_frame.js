// A hidden frame starts a download without leaving the page.

export function addDownloadFrame(address) {
  const frame = document.createElement("iframe");
  frame.hidden = true;
  frame.src = address;
  document.body.append(frame);
  return frame;
}
