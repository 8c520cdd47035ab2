#!/usr/bin/python3
"""The web console in a real browser against a real headless station.

Sets the manager password with --web-password, starts tavplayer-headless on a
temporary data folder with the web console on a free port of 127.0.0.1, then
in headless Chromium: logs in, adds a task starting a few seconds later,
makes an announcement, adds a voice broadcast and waits for the status page's now-playing line to
name the task. Photographs every page at phone and desktop size.
Exit 77 (skipped) where Chromium, its driver or Selenium is missing.
"""
import argparse
import datetime
import os
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import time
import wave

CHROMIUM = "/usr/bin/chromium"
DRIVER = "/usr/bin/chromedriver"
PASSWORD = "browser-secret"
PAGES = ["status", "agenda", "broadcast", "tasks", "captions", "stops", "log"]
SIZES = {"phone": (390, 844), "desktop": (1366, 900)}


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def silent_wav(path, seconds):
    with wave.open(path, "wb") as w:
        w.setnchannels(1)
        w.setsampwidth(2)
        w.setframerate(8000)
        w.writeframes(struct.pack("<h", 0) * 8000 * seconds)


def wait_port(port, process, limit=20.0):
    end = time.monotonic() + limit
    while time.monotonic() < end:
        if process.poll() is not None:
            raise SystemExit(f"the station ended early with status {process.returncode}")
        try:
            with socket.create_connection(("127.0.0.1", port), timeout=0.5):
                return
        except OSError:
            time.sleep(0.2)
    raise SystemExit("the web console did not open its port")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--bin", required=True, help="tavplayer-headless")
    parser.add_argument("--out", required=True, help="folder for the screenshots")
    args = parser.parse_args()
    if not (os.path.exists(CHROMIUM) and os.path.exists(DRIVER)):
        print("chromium or chromedriver missing: skipped")
        return 77
    try:
        from selenium import webdriver
        from selenium.webdriver.chrome.service import Service
        from selenium.webdriver.common.by import By
        from selenium.webdriver.support.ui import WebDriverWait
    except ImportError:
        print("python3-selenium missing: skipped")
        return 77

    os.makedirs(args.out, exist_ok=True)
    data = tempfile.mkdtemp(prefix="tav-web-")
    profile = tempfile.mkdtemp(prefix="tav-chromium-")
    station = driver = None
    try:
        media = os.path.join(data, "bell.wav")
        silent_wav(media, 60)
        setter = subprocess.run([args.bin, "--web-password", "--data-dir", data], input=PASSWORD + "\n",
                                capture_output=True, text=True, timeout=60)
        if setter.returncode != 0:
            raise SystemExit("--web-password failed: " + setter.stderr)
        port = free_port()
        log = open(os.path.join(args.out, "station.log"), "w")
        station = subprocess.Popen([args.bin, "--headless", "--data-dir", data, "--web-port", str(port),
                                    "--player-option", "ao=null"], stdout=log, stderr=subprocess.STDOUT)
        wait_port(port, station)
        url = f"http://127.0.0.1:{port}/"

        options = webdriver.ChromeOptions()
        options.binary_location = CHROMIUM
        for flag in ["--headless", "--no-sandbox", "--disable-gpu", "--no-first-run",
                     "--disable-background-networking", "--disable-component-update", "--disable-sync",
                     "--disable-dev-shm-usage", f"--user-data-dir={profile}", "--lang=zh-CN"]:
            options.add_argument(flag)
        driver = webdriver.Chrome(service=Service(DRIVER), options=options)
        driver.set_window_size(*SIZES["desktop"])
        wait = WebDriverWait(driver, 20)
        driver.get(url)
        field = wait.until(lambda d: d.find_element(By.ID, "password") if d.find_element(By.ID, "password").is_displayed() else None)
        load_ms = driver.execute_script(
            "const t = performance.getEntriesByType('navigation')[0]; return t.loadEventEnd - t.startTime;")
        driver.save_screenshot(os.path.join(args.out, "login-desktop.png"))

        # A wrong password is refused in words, then the right one logs in.
        field.send_keys("wrong-password")
        driver.find_element(By.ID, "loginButton").click()
        wait.until(lambda d: "密码错误" in d.find_element(By.ID, "loginError").text)
        field.clear()
        field.send_keys(PASSWORD)
        driver.find_element(By.ID, "loginButton").click()
        wait.until(lambda d: d.find_element(By.ID, "app").is_displayed())
        wait.until(lambda d: d.find_element(By.ID, "who").text == "管理员")

        # A task starting a few seconds from now, through the task form.
        driver.find_element(By.CSS_SELECTOR, "#tabs button[data-page=tasks]").click()
        driver.find_element(By.ID, "newTask").click()
        start = (datetime.datetime.now() + datetime.timedelta(seconds=12)).replace(microsecond=0)
        end = start + datetime.timedelta(minutes=5)
        set_value = "arguments[0].value = arguments[1]"
        driver.find_element(By.ID, "taskName").send_keys("浏览器测试")
        driver.execute_script(set_value, driver.find_element(By.ID, "taskStart"), start.strftime("%H:%M:%S"))
        driver.execute_script(set_value, driver.find_element(By.ID, "taskEnd"), end.strftime("%H:%M:%S"))
        driver.find_element(By.ID, "taskFiles").send_keys(media)
        if start.date() != end.date():
            print("too close to midnight: skipped")
            return 77
        driver.find_element(By.ID, "saveTask").click()
        wait.until(lambda d: "浏览器测试" in d.find_element(By.ID, "taskRows").text)
        shot(driver, args.out, "tasks-added")

        # A refusal shows the editor's words and keeps the form open.
        driver.find_element(By.ID, "newTask").click()
        driver.find_element(By.ID, "taskName").send_keys("浏览器测试")
        driver.execute_script(set_value, driver.find_element(By.ID, "taskStart"), "10:00:00")
        driver.execute_script(set_value, driver.find_element(By.ID, "taskEnd"), "11:00:00")
        driver.find_element(By.ID, "saveTask").click()
        wait.until(lambda d: "该名称已存在" in d.find_element(By.ID, "taskError").text)
        driver.find_element(By.ID, "cancelTask").click()

        # An announcement.
        driver.find_element(By.CSS_SELECTOR, "#tabs button[data-page=broadcast]").click()
        driver.find_element(By.ID, "announceText").send_keys("请各位同学到操场集合")
        driver.find_element(By.ID, "announceTone").click()  # no tone file in a fresh folder
        driver.find_element(By.ID, "announceButton").click()
        wait.until(lambda d: d.find_element(By.ID, "announceResult").text != "")
        result = driver.find_element(By.ID, "announceResult").text
        if result != "已开始播音":
            raise SystemExit("the announcement was refused: " + result)

        # A voice broadcast through its form; a name of the program's own
        # files is refused in the editor's words.
        driver.find_element(By.ID, "newBroadcast").click()
        driver.find_element(By.ID, "bcName").send_keys("【SONG】")
        driver.find_element(By.ID, "bcText").send_keys("同学们，放学了")
        driver.find_element(By.CSS_SELECTOR, "#broadcastForm button[type=submit]").click()
        wait.until(lambda d: "程序自用的文件名" in d.find_element(By.ID, "broadcastError").text)
        driver.find_element(By.ID, "bcName").clear()
        driver.find_element(By.ID, "bcName").send_keys("放学提醒")
        driver.find_element(By.CSS_SELECTOR, "#broadcastForm button[type=submit]").click()
        wait.until(lambda d: "放学提醒" in d.find_element(By.ID, "broadcastRows").text)
        shot(driver, args.out, "broadcast-added")

        # The now-playing line changes by itself when the task starts.
        driver.find_element(By.CSS_SELECTOR, "#tabs button[data-page=status]").click()
        WebDriverWait(driver, 40).until(lambda d: d.find_element(By.ID, "nowPlaying").text == "浏览器测试")
        seen = datetime.datetime.now()

        for page in PAGES:
            driver.find_element(By.CSS_SELECTOR, f"#tabs button[data-page={page}]").click()
            time.sleep(0.5)
            shot(driver, args.out, page)
        driver.set_window_size(*SIZES["desktop"])
        print(f"page loaded in {load_ms:.0f} ms; the start was seen {(seen - start).total_seconds():.1f} s after its second")
        return 0
    finally:
        if driver:
            driver.quit()
        if station:
            station.terminate()
            try:
                station.wait(10)
            except subprocess.TimeoutExpired:
                station.kill()
        shutil.rmtree(data, ignore_errors=True)
        shutil.rmtree(profile, ignore_errors=True)


def shot(driver, out, name):
    for size, (w, h) in SIZES.items():
        driver.set_window_size(w, h)
        time.sleep(0.3)
        driver.save_screenshot(os.path.join(out, f"{name}-{size}.png"))


if __name__ == "__main__":
    sys.exit(main())
