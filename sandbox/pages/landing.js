'use strict';

const button = document.getElementById('copy');
const status = document.getElementById('status');
const field = document.getElementById('text');

// A page over plain HTTP from another machine is not a secure context and has no navigator.clipboard.
async function copied(text) {
  if (window.isSecureContext && navigator.clipboard) {
    try {
      await navigator.clipboard.writeText(text);
      return true;
    } catch {
      // refused: try the older API
    }
  }
  field.hidden = false;
  field.value = text;
  field.focus();
  field.select();
  return document.execCommand('copy');
}

button.addEventListener('click', async () => {
  const done = await copied(button.dataset.text);
  field.hidden = done;
  field.value = button.dataset.text;
  status.className = done ? 'done' : 'failed';
  status.textContent = done ? 'Copied. Now install and open the app.'
                            : 'This browser does not let the page copy. Please copy this text yourself:';
  if (!done) field.select();
});
