package com.example.demo;

import com.vorlix.quen.wb.WbkitAndr;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;
import java.util.Arrays;

/** What every call presents: the table library that is meant, who calls, and the token that proves it. */
final class Access {
    static final byte[] WBID = bytes("demo");
    static final int VERSION = 1;
    static final byte[] APPID = bytes("com.example.demo");
    static final byte[] CALLER = bytes("com.example.demo");

    final byte[] token;

    Access(byte[] token) {
        this.token = token;
    }

    /** A token is the HMAC of white-box id and application id under the table library's sk, which ak gives. */
    static Access obtain(String accessKeyFile) throws IOException {
        byte[] sk = WbkitAndr.getSk(accessKey(accessKeyFile), WBID, VERSION);
        if (sk == null) {
            throw new IllegalStateException("the table library gave no sk; the log has the reason");
        }
        byte[] message = Arrays.copyOf(WBID, WBID.length + APPID.length);
        System.arraycopy(APPID, 0, message, WBID.length, APPID.length);
        return new Access(WbkitAndr.hmac(message, sk));
    }

    /** As for the builder of the table library, a newline at the end of the file is no part of the access key. */
    private static byte[] accessKey(String file) throws IOException {
        String text = new String(Files.readAllBytes(Paths.get(file)), StandardCharsets.UTF_8);
        return bytes(text.replaceFirst("\\r?\\n\\z", ""));
    }

    static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.UTF_8);
    }
}
