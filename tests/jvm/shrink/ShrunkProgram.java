import com.vorlix.quen.wb.WbkitAndr;
import java.security.Provider;
import java.util.Arrays;
import javax.crypto.Mac;
import javax.crypto.spec.SecretKeySpec;

/** An application that uses one native: LIBRARY CLASS..., where the classes are those that others find by their names. */
public final class ShrunkProgram {
    public static void main(String[] args) throws Exception {
        System.load(args[0]);
        byte[] text = {1, 2, 3};
        Mac mac = Mac.getInstance("HmacSHA256");
        mac.init(new SecretKeySpec(text, "HmacSHA256"));
        if (!Arrays.equals(mac.doFinal(text), WbkitAndr.hmac(text, text))) {
            throw new AssertionError("another code than javax.crypto's");
        }
        int services = 0;
        for (String name : Arrays.asList(args).subList(1, args.length)) {
            Class<?> found = Class.forName(name);
            if (Provider.class.isAssignableFrom(found)) {
                Provider provider = (Provider) found.getConstructor().newInstance();
                for (Provider.Service service : provider.getServices()) {
                    service.newInstance(null);
                    services++;
                }
            }
        }
        System.out.println("natives work, " + (args.length - 1) + " classes found, " + services + " services made");
    }
}
