package com.example.demo;

import com.vorlix.quen.wb.WbkitAndr;
import com.vorlix.quen.wb.WbkitCms;
import java.security.SecureRandom;

/** The modes of encryption: the natives of each, for plain ciphertexts and for CMS messages. */
enum Mode {
    AES_CFB(stream(WbkitAndr::WBkit_AES_CFB_encrypt), stream(WbkitAndr::WBkit_AES_CFB_decrypt),
            message(WbkitAndr::WBkit_AES_CMS_CFB_encrypt), WbkitCms::aesCfbDecrypt),
    AES_OFB(stream(WbkitAndr::WBkit_AES_OFB_encrypt), stream(WbkitAndr::WBkit_AES_OFB_decrypt),
            message(WbkitAndr::WBkit_AES_CMS_OFB_encrypt), WbkitCms::aesOfbDecrypt),
    AES_CTR(stream(WbkitAndr::WBkit_AES_CTR_encrypt), stream(WbkitAndr::WBkit_AES_CTR_decrypt),
            message(WbkitAndr::WBkit_AES_CMS_CTR_encrypt), WbkitCms::aesCtrDecrypt),
    AES_GCM(gcm(WbkitAndr::WBkit_AES_GCM_encrypt), gcm(WbkitAndr::WBkit_AES_GCM_decrypt),
            gcmMessage(WbkitAndr::WBkit_AES_CMS_GCM_encrypt), WbkitCms::aesGcmDecrypt),
    SM4_CFB(stream(WbkitAndr::WBkit_SM4_CFB_encrypt), stream(WbkitAndr::WBkit_SM4_CFB_decrypt),
            message(WbkitAndr::WBkit_SM4_CMS_CFB_encrypt), WbkitCms::sm4CfbDecrypt),
    SM4_OFB(stream(WbkitAndr::WBkit_SM4_OFB_encrypt), stream(WbkitAndr::WBkit_SM4_OFB_decrypt),
            message(WbkitAndr::WBkit_SM4_CMS_OFB_encrypt), WbkitCms::sm4OfbDecrypt),
    SM4_CTR(stream(WbkitAndr::WBkit_SM4_CTR_encrypt), stream(WbkitAndr::WBkit_SM4_CTR_decrypt),
            message(WbkitAndr::WBkit_SM4_CMS_CTR_encrypt), WbkitCms::sm4CtrDecrypt);

    /** PKCS #5. GCM has no padding. */
    private static final int PADDING = 1;
    /** What GCM authenticates without encrypting it; both sides know it. */
    private static final byte[] ADDITIONAL_DATA = Access.bytes("example of additional data");
    /** A message carries these bytes for its reader. They encrypt nothing. */
    private static final byte[] KEY_FIELD = Access.bytes("example of a key field");

    /** Encrypts or decrypts a text with the key of this id; null is a refusal. */
    interface Operation {
        byte[] run(Access access, byte[] keyid, byte[] iv, byte[] input);
    }

    /** The natives that decrypt messages all have this shape. */
    interface MessageDecryption {
        byte[] run(byte[] hash, byte[] caller, byte[] message, byte[] wbid, byte[] keyid, int version);
    }

    private final Operation encrypt;
    private final Operation decrypt;
    private final Operation encryptMessage;
    private final MessageDecryption decryptMessage;

    Mode(Operation encrypt, Operation decrypt, Operation encryptMessage, MessageDecryption decryptMessage) {
        this.encrypt = encrypt;
        this.decrypt = decrypt;
        this.encryptMessage = encryptMessage;
        this.decryptMessage = decryptMessage;
    }

    byte[] encrypt(Access access, byte[] keyid, byte[] iv, byte[] text) {
        return encrypt.run(access, keyid, iv, text);
    }

    byte[] decrypt(Access access, byte[] keyid, byte[] iv, byte[] ciphertext) {
        return decrypt.run(access, keyid, iv, ciphertext);
    }

    byte[] encryptMessage(Access access, byte[] keyid, byte[] iv, byte[] text) {
        return encryptMessage.run(access, keyid, iv, text);
    }

    /** The message has the iv, the padding and the additional data in it. */
    byte[] decryptMessage(Access access, byte[] keyid, byte[] message) {
        return decryptMessage.run(access.token, Access.CALLER, message, Access.WBID, keyid, Access.VERSION);
    }

    /** A new one for every text: 12 bytes for GCM, a block for all others. */
    byte[] newIv(SecureRandom random) {
        byte[] iv = new byte[this == AES_GCM ? 12 : 16];
        random.nextBytes(iv);
        return iv;
    }

    String[] keys() {
        return name().startsWith("SM4") ? new String[] {"sm4"} : new String[] {"aes128", "aes192", "aes256"};
    }

    @Override
    public String toString() {
        return name().replace('_', ' ');
    }

    private interface StreamNative {
        byte[] run(byte[] hash, byte[] caller, byte[] iv, byte[] input, int padding, byte[] wbid, byte[] keyid,
                int version);
    }

    private interface GcmNative {
        byte[] run(byte[] hash, byte[] caller, byte[] iv, byte[] input, byte[] aad, byte[] wbid, byte[] keyid,
                int version);
    }

    private interface MessageNative {
        byte[] run(byte[] hash, byte[] caller, byte[] iv, byte[] input, int padding, byte[] key, byte[] wbid,
                byte[] keyid, int version);
    }

    private interface GcmMessageNative {
        byte[] run(byte[] hash, byte[] caller, byte[] iv, byte[] input, byte[] aad, byte[] key, byte[] wbid,
                byte[] keyid, int version);
    }

    private static Operation stream(StreamNative function) {
        return (access, keyid, iv, input) -> function.run(access.token, Access.CALLER, iv, input, PADDING, Access.WBID,
                keyid, Access.VERSION);
    }

    private static Operation gcm(GcmNative function) {
        return (access, keyid, iv, input) -> function.run(access.token, Access.CALLER, iv, input, ADDITIONAL_DATA,
                Access.WBID, keyid, Access.VERSION);
    }

    private static Operation message(MessageNative function) {
        return (access, keyid, iv, input) -> function.run(access.token, Access.CALLER, iv, input, PADDING, KEY_FIELD,
                Access.WBID, keyid, Access.VERSION);
    }

    private static Operation gcmMessage(GcmMessageNative function) {
        return (access, keyid, iv, input) -> function.run(access.token, Access.CALLER, iv, input, ADDITIONAL_DATA,
                KEY_FIELD, Access.WBID, keyid, Access.VERSION);
    }
}
