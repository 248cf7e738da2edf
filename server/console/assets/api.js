// The admin API as the console uses it. The session cookie (which no script can read) goes
// with every request; a change also carries the session's CSRF token, which only a page of
// this site can have learnt.
const RANKS = { viewer: 0, translator: 1, admin: 2 };

export class SignedOut extends Error {}

// Who is signed in: {name, role, csrfToken}, from the server.
export const session = { name: null, role: null, csrfToken: null };

export async function loadSession() {
  const response = await fetch("/console/session", { credentials: "same-origin", cache: "no-store" });
  if (!response.ok) throw new SignedOut("not signed in");
  Object.assign(session, await response.json());
}

// Whether the signed-in role may do what `role` may; the server decides anyway.
export const may = (role) => (RANKS[session.role] ?? -1) >= RANKS[role];

export function toSignIn() {
  location.replace("/console/sign-in");
}

export async function signOut() {
  await fetch("/console/sign-out", {
    method: "POST", credentials: "same-origin", body: "{}",
    headers: { "Content-Type": "application/json", "X-CSRF-Token": session.csrfToken ?? "" },
  }).catch(() => {});
  toSignIn();
}

async function call(method, path, body, as = "json") {
  const headers = {};
  if (method !== "GET") headers["X-CSRF-Token"] = session.csrfToken ?? "";
  if (body !== undefined) headers["Content-Type"] = "application/json";
  // Paths the API hands out (a screenshot's image) are whole; the console's own are relative.
  const url = path.startsWith("/admin/") ? path : `/admin/v1${path}`;
  const response = await fetch(url, {
    method, headers, body: body === undefined ? undefined : JSON.stringify(body),
    credentials: "same-origin", cache: "no-store",
  });
  if (response.status === 401) throw new SignedOut((await response.json().catch(() => ({}))).error ?? "signed out");
  if (!response.ok) {
    const why = (await response.json().catch(() => ({}))).error ?? response.statusText;
    throw new Error(`${method} ${path}: ${response.status} ${why}`);
  }
  return as === "blob" ? response.blob() : response.json();
}

export const api = {
  get: (path) => call("GET", path),
  blob: (path) => call("GET", path, undefined, "blob"),
  put: (path, body) => call("PUT", path, body),
  patch: (path, body) => call("PATCH", path, body),
  del: (path) => call("DELETE", path, {}),
  post: (path, body) => call("POST", path, body ?? {}),
};

export const projectPath = (project) => `/projects/${encodeURIComponent(project)}`;

// Builds an element; text always goes in as text, so whatever an app sent (a key "<script>")
// is shown, never run.
export function el(tag, props = {}, ...children) {
  const node = document.createElement(tag);
  for (const [name, value] of Object.entries(props)) {
    if (value === undefined || value === null || value === false) continue;
    if (name === "class") node.className = value;
    else if (name === "dataset") Object.assign(node.dataset, value);
    else if (name.startsWith("on")) node.addEventListener(name.slice(2), value);
    else if (name in node) node[name] = value;
    else node.setAttribute(name, value);
  }
  for (const child of children.flat()) {
    if (child !== undefined && child !== null) node.append(child instanceof Node ? child : String(child));
  }
  return node;
}

export const when = (seconds) =>
  seconds ? new Date(seconds * 1000).toISOString().replace("T", " ").slice(0, 16) : "";

export function say(id, text, isError = false) {
  const node = document.getElementById(id);
  node.textContent = text;
  node.classList.toggle("error", isError);
}
