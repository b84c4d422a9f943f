// Elements of the page.

/** The element of this id. */
export const byId = (id) => document.getElementById(id);

/** A new element with these properties; what is undefined is left out. Texts are never read as markup. */
export function element(tag, properties = {}, ...children) {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (value === undefined) continue;
    if (name === 'data') Object.assign(made.dataset, value);
    else made[name] = value;
  }
  made.append(...children);
  return made;
}

/** Sets a text only where it changes, so that screen readers and selections are left in peace. */
export function setText(target, text) {
  if (target.textContent !== text) target.textContent = text;
}

/** Shows a failed request, with the way to the form for the token where that is what it lacks. */
export function showError(target, error) {
  const signIn = error.status === 401 ? [' ', element('a', {href: 'login', textContent: 'Sign in'})] : [];
  const text = error.message + (signIn.length ? ' Sign in' : '');
  if (target.textContent !== text) target.replaceChildren(error.message, ...signIn);
}
