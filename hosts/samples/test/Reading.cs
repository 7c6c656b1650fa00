// Reading.cs: runs what host.cs makes of messages, for the test: Mono has no pipes of Windows.
using System;
using System.IO;
using System.Reflection;
using System.Text;

static class Reading {
    static void Main(string[] recordings) {
        var take = typeof(Host).GetMethod("Take", BindingFlags.NonPublic | BindingFlags.Static);
        foreach (string recording in recordings) {
            byte[] bytes = File.ReadAllBytes(recording);
            for (int at = 0, size; at < bytes.Length; at += 4 + size) {
                size = bytes[at] << 24 | bytes[at + 1] << 16 | bytes[at + 2] << 8 | bytes[at + 3];
                take.Invoke(null, new object[] { Encoding.UTF8.GetString(bytes, at + 4, size) });
            }
        }
    }
}
