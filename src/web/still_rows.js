// A click is lost when what it began on moves away before it ends: a row, or a button that stands below
// the rows. So while a pointer is pressed, what would change the rows waits: until it is let go, or for
// the next change.

// On touch screens the click comes some time after the finger has left.
const kClickMs = 350;

// Gives whenStill(change): calls change() at once, or as soon as no pointer is pressed on `area`, which
// holds the rows and everything that moves with them.
export function keepStill(area) {
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

  area.addEventListener("pointerdown", (event) => {
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
