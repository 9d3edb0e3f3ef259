// A click is lost when the row that it began on moves away before it ends. So while a pointer is
// pressed on the rows, what would change them waits: until it is let go, or for the next change.

// On touch screens the click comes some time after the finger has left.
const kClickMs = 350;

// Gives whenStill(change): calls change() at once, or as soon as no pointer is pressed on the body.
export function keepStill(body) {
  let isPressed = false;
  let waiting = null;
  let clickTimer = null;

  function changeNow(change) {
    waiting = null;
    change();
  }

  function letGo() {
    clearTimeout(clickTimer);
    isPressed = false;
    if (waiting !== null) {
      changeNow(waiting);
    }
  }

  body.addEventListener("pointerdown", (event) => {
    clearTimeout(clickTimer);
    isPressed = event.isPrimary && event.button === 0;
  });
  document.addEventListener("pointerup", () => {
    clearTimeout(clickTimer);
    clickTimer = setTimeout(letGo, kClickMs);
  });
  for (const type of ["click", "pointercancel", "contextmenu", "dragend"]) {
    window.addEventListener(type, letGo);
  }

  return (change) => {
    if (isPressed && waiting === null) {
      waiting = change;
    } else {
      changeNow(change);
    }
  };
}
