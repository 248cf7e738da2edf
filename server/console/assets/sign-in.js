// The sign-in page: the session cookie comes with the answer, and the console takes over.
const $ = (id) => document.getElementById(id);

$("sign-in").addEventListener("submit", async (event) => {
  event.preventDefault();
  $("sign-in-error").textContent = "";
  try {
    const response = await fetch("/console/session", {
      method: "POST", headers: { "Content-Type": "application/json" }, credentials: "same-origin", cache: "no-store",
      body: JSON.stringify({ name: $("name").value.trim(), password: $("password").value }),
    });
    if (!response.ok) throw new Error((await response.json().catch(() => ({}))).error ?? response.statusText);
    location.replace("/console/");
  } catch (error) {
    $("password").value = "";
    $("sign-in-error").textContent = error.message;
  }
});
$("name").focus();
